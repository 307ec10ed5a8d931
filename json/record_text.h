#pragma once

// What every record's JSON and serialized forms share: base64 byte fields, the compact text with
// its line feed, and the single-line base64 wrapping.

#include <cstdint>
#include <string>
#include <vector>

namespace zkJson {
class Value;
}

namespace QVCryptoService {

// Base64Field returns the base64 text of a byte field.
std::string Base64Field(const std::vector<std::uint8_t>& bytes);

// BytesFromBase64Field decodes a byte field. Throws std::runtime_error when the member is not a
// string of well-formed base64, so that a damaged field fails the whole read instead of giving a
// truncated value; readers catch it with the JSON library's conversion errors.
std::vector<std::uint8_t> BytesFromBase64Field(const zkJson::Value& member);

// CompactRecordText writes a record object as one line of compact JSON followed by "\n".
std::string CompactRecordText(const zkJson::Value& record);

// ParseRecordText parses a record's JSON text; false when it is not JSON.
bool ParseRecordText(const std::string& json, zkJson::Value& root);

// WrapRecordText and UnwrapRecordText convert between a JSON text and its serialized form.
std::string WrapRecordText(const std::string& json);
std::string UnwrapRecordText(const std::string& serialized);

}  // namespace QVCryptoService
