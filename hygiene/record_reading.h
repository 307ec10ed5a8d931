#pragma once

// Which record a serialized text holds, read with the library's own record readers.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/record_hygiene.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

struct ReadRecord {
  RecordKind kind = RecordKind::kNotARecord;
  // What the judging needs of each kind; the rest is left empty.
  std::string keyName;
  std::int32_t keyVersion = 0;
  std::int32_t iterations = 0;
  std::uint32_t argon2idMemoryKiB = 0;
  std::uint32_t argon2idPasses = 0;
};

// ReadAnyRecord tries the readers of every record kind on `text` (white space around it already
// removed). A record of version 0 (an empty record) counts as no record.
ReadRecord ReadAnyRecord(const std::string& text);

}  // namespace QVCryptoService
