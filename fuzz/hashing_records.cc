// Whatever DeserializeHashingData or DeserializeSigningData accepts must serialize to a text the
// same function accepts again, holding the same record: both reads write the same JSON.

#include <qvcryptoservice/hashing_records.h>

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>

using QVCryptoService::HashingData_t;
using QVCryptoService::SigningData_t;

namespace {

void CheckHashingRecord(const std::string& text) {
  HashingData_t record;
  if (!QVCryptoService::DeserializeHashingData(record, text)) {
    return;
  }
  HashingData_t again;
  fuzzsupport::Require(QVCryptoService::DeserializeHashingData(again, QVCryptoService::SerializeHashingData(record)),
                       "a serialized hashing record reads back");
  fuzzsupport::Require(QVCryptoService::HashingDataToJsonStr(again) == QVCryptoService::HashingDataToJsonStr(record),
                       "a hashing record read back writes the same JSON");
}

void CheckSigningRecord(const std::string& text) {
  SigningData_t record;
  if (!QVCryptoService::DeserializeSigningData(record, text)) {
    return;
  }
  SigningData_t again;
  fuzzsupport::Require(QVCryptoService::DeserializeSigningData(again, QVCryptoService::SerializeSigningData(record)),
                       "a serialized signing record reads back");
  fuzzsupport::Require(QVCryptoService::SigningDataToJsonStr(again) == QVCryptoService::SigningDataToJsonStr(record),
                       "a signing record read back writes the same JSON");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckHashingRecord(text);
  CheckSigningRecord(text);
  return 0;
}
