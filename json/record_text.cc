#include "json/record_text.h"

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include "primitives/base64_codec.h"

#include <stdexcept>

namespace QVCryptoService {

std::string Base64Field(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  AppendBase64(text, bytes.data(), bytes.size());
  return text;
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
  std::string text;
  AppendBase64(text, reinterpret_cast<const std::uint8_t*>(json.data()), json.size());
  return text;
}

std::string UnwrapRecordText(const std::string& serialized) { return base64_decode(serialized); }

}  // namespace QVCryptoService
