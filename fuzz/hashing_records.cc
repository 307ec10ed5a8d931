// Whatever DeserializeHashingData or DeserializeSigningData accepts must serialize to a text the
// same function accepts again, holding the same record: both reads write the same JSON. The same
// holds for the Argon2id password-hash record, whose reader no version-1 reader may share a text
// with.

#include <qvcryptoservice/hashing_records.h>

#include "fuzz/fuzz_support.h"
#include "hashing/argon2_record.h"

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

void CheckArgon2idRecord(const std::string& text) {
  QVCryptoService::Argon2idHashRecord record;
  if (!QVCryptoService::ReadArgon2idRecord(text, record)) {
    return;
  }
  HashingData_t hashing;
  fuzzsupport::Require(!QVCryptoService::DeserializeHashingData(hashing, text),
                       "an Argon2id record is no version-1 hashing record");
  const std::string written = QVCryptoService::WriteArgon2idRecord(record);
  QVCryptoService::Argon2idHashRecord again;
  fuzzsupport::Require(
      QVCryptoService::ReadArgon2idRecord(written, again) && QVCryptoService::WriteArgon2idRecord(again) == written,
      "an Argon2id record read back writes the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckHashingRecord(text);
  CheckSigningRecord(text);
  CheckArgon2idRecord(text);
  return 0;
}
