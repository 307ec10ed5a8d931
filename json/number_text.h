#pragma once

// Numbers as the writers put them: locale-independent, byte for byte what printf does in the
// "C" locale.

#include <cstdint>
#include <string>

namespace zkJson {

void AppendInteger(std::string& out, std::int64_t value);
void AppendUnsigned(std::string& out, std::uint64_t value);
// AppendReal writes "%.16g"; NaN as null and infinities as +/-1e+9999, which JSON can carry and
// the reader reads back as infinities.
void AppendReal(std::string& out, double value);

}  // namespace zkJson
