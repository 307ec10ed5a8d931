// Whatever DeserialzeCipherData accepts must serialize to a text it accepts again, holding the
// same record: both reads write the same JSON.

#include <qvcryptoservice/cipher_meta.h>

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using QVCryptoService::CipherMeta_t;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
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
  fuzzsupport::Require(QVCryptoService::CipherToJsonStr(again, cipherTextAgain) ==
                           QVCryptoService::CipherToJsonStr(meta, cipherText),
                       "a cipher record read back writes the same JSON");
  return 0;
}
