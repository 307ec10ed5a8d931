// Whatever DeserialzeCipherData accepts must serialize to a text it accepts again, holding the
// same record: both reads write the same JSON. Whatever the direct reader of compact records
// accepts (the input itself, or its base64 decoding, as JSON), the JSON reader must read to the
// same record.

#include <qvcryptoservice/cipher_meta.h>

#include <qvcryptoservice/zkjson.h>

#include "encryption/compact_cipher_record.h"
#include "fuzz/fuzz_support.h"
#include "json/record_text.h"

#include <exception>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using QVCryptoService::CipherMeta_t;

namespace {

void CompareWithTheJsonReader(const std::string& json) {
  CipherMeta_t direct;
  std::vector<std::uint8_t> directBytes;
  if (!QVCryptoService::ReadCompactCipherRecord(json, direct, directBytes)) {
    return;
  }
  CipherMeta_t general;
  std::vector<std::uint8_t> generalBytes;
  zkJson::Value root;
  bool read = QVCryptoService::ParseRecordText(json, root) && QVCryptoService::CipherMetaFromJson(root, general);
  try {
    read = read && root.isMember("cd");
    if (read) {
      generalBytes = QVCryptoService::BytesFromBase64Field(root["cd"]);
    }
  } catch (const std::exception&) {
    read = false;
  }
  fuzzsupport::Require(read, "the JSON reader reads what the direct reader took");
  fuzzsupport::Require(QVCryptoService::CipherToJsonStr(direct, directBytes) ==
                               QVCryptoService::CipherToJsonStr(general, generalBytes) &&
                           direct.version == general.version && direct.keyName == general.keyName &&
                           direct.digestName == general.digestName,
                       "the direct and the JSON reader give the same record");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CompareWithTheJsonReader(text);
  CompareWithTheJsonReader(QVCryptoService::UnwrapRecordText(text));
  CipherMeta_t meta;
  std::vector<std::uint8_t> cipherText;
  if (!QVCryptoService::DeserialzeCipherData(text, meta, cipherText)) {
    return 0;
  }
  const std::string serialized = QVCryptoService::SeralizeCipherData(meta, cipherText);
  CipherMeta_t again;
  std::vector<std::uint8_t> cipherTextAgain;
  fuzzsupport::Require(QVCryptoService::DeserialzeCipherData(serialized, again, cipherTextAgain),
                       "a serialized cipher record reads back");
  fuzzsupport::Require(
      QVCryptoService::CipherToJsonStr(again, cipherTextAgain) == QVCryptoService::CipherToJsonStr(meta, cipherText),
      "a cipher record read back writes the same JSON");
  return 0;
}
