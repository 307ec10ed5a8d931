#include "primitives/record_text.h"

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include "primitives/base64_codec.h"

#include <stdexcept>

namespace QVCryptoService {

std::string Base64Field(const std::vector<std::uint8_t>& bytes) {
  return base64_encode(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// Well-formed text decodes exactly as base64_decode would; anything else is refused outright.
std::vector<std::uint8_t> BytesFromBase64Field(const zkJson::Value& member) {
  std::vector<std::uint8_t> bytes;
  if (!DecodeBase64(member.asString(), bytes, Base64Form::kWellFormed)) {
    throw std::runtime_error("record field is not base64");
  }
  return bytes;
}

std::string CompactRecordText(const zkJson::Value& record) { return zkJson::FastWriter().write(record); }

bool ParseRecordText(const std::string& json, zkJson::Value& root) { return zkJson::Reader().parse(json, root); }

std::string WrapRecordText(const std::string& json) {
  return base64_encode(reinterpret_cast<const unsigned char*>(json.data()), static_cast<std::uint32_t>(json.size()));
}

std::string UnwrapRecordText(const std::string& serialized) { return base64_decode(serialized); }

}  // namespace QVCryptoService
