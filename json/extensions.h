#pragma once

// The date and binary extensions: objects of a particular shape that the reader turns into date
// and binary values once they have been read completely.

#include <qvcryptoservice/zkjson_value.h>

#include <cstdint>
#include <string_view>

namespace zkJson {

// ApplyExtensions replaces the object `value` by a date or binary value when its members are
// exactly {"$date": integer}, {"$date": date text}, {"$binary": base64} or {"$binary": base64,
// "$type": "00"}; any other object, including one whose text or base64 does not qualify, stays
// as it is. The value keeps its comments.
void ApplyExtensions(Value& value);

// ParseDateText reads `text` as sscanf would with "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ" and, when at
// least the six fields up to the seconds were read, sets `milliseconds` to that UTC time
// (out-of-range fields carry over as timegm does; the milliseconds are 0 when not read).
bool ParseDateText(std::string_view text, std::int64_t& milliseconds);

}  // namespace zkJson
