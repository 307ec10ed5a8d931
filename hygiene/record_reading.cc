#include "hygiene/record_reading.h"

#include "frame/fixed_names.h"
#include "hashing/argon2_record.h"
#include "primitives/base64_codec.h"

#include <algorithm>
#include <vector>

namespace QVCryptoService {
namespace {

bool ReadCipherText(const std::string& text, ReadRecord& record) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(text, meta, bytes) || meta.version == 0) {
    return false;
  }
  if (!meta.keyName.empty()) {
    record.kind = RecordKind::kKeystoreCipherText;
    record.keyName = meta.keyName;
    record.keyVersion = meta.keyVersion;
  } else {
    record.kind = RecordKind::kPasswordCipherText;
    record.iterations = meta.iterations;
  }
  return true;
}

bool ReadHmacRecord(const std::string& text, ReadRecord& record) {
  SigningData_t signing;
  if (!DeserializeSigningData(signing, text) || signing.version == 0) {
    return false;
  }
  record.kind = RecordKind::kHmac;
  record.keyName = signing.keyName;
  record.keyVersion = signing.keyVersion;
  return true;
}

// Digests carry a salt, password hashes a salt and an iteration count, checksums neither.
bool ReadHashingRecord(const std::string& text, ReadRecord& record) {
  HashingData_t hashing;
  if (!DeserializeHashingData(hashing, text) || hashing.version == 0) {
    return false;
  }
  if (hashing.iterations != 0) {
    record.kind = RecordKind::kPbkdf2PasswordHash;
    record.iterations = hashing.iterations;
  } else {
    record.kind = hashing.salt.empty() ? RecordKind::kChecksum : RecordKind::kDigest;
  }
  return true;
}

bool ReadArgon2idHash(const std::string& text, ReadRecord& record) {
  Argon2idHashRecord argon2id;
  if (!ReadArgon2idRecord(text, argon2id)) {
    return false;
  }
  record.kind = RecordKind::kArgon2idPasswordHash;
  record.argon2idMemoryKiB = argon2id.parameters.memoryKiB;
  record.argon2idPasses = argon2id.parameters.passes;
  return true;
}

// The decoded bytes of a base64 text are a record's JSON, not cipher bytes: they open an object
// and all but one in eight are printable. Cipher bytes are random; even the shortest SSV text
// (32 bytes) passes this by chance with a probability of about 10^-10, while a record damaged in a
// few places still does.
bool LooksLikeJsonText(const std::vector<std::uint8_t>& bytes) {
  const auto printable = std::count_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) {
    return (byte >= 0x20 && byte < 0x7F) || byte == '\t' || byte == '\n' || byte == '\r';
  });
  return !bytes.empty() && bytes.front() == '{' && static_cast<std::size_t>(printable) * 8 >= bytes.size() * 7;
}

// An SSV text is the base64 of a 16-byte IV and whole cipher blocks, nothing more; any such
// text that no record reader took, and that is not a damaged record, may be one.
bool LooksLikeSsvText(const std::string& text, ReadRecord& record) {
  std::vector<std::uint8_t> bytes;
  if (!DecodeBase64(text, bytes, Base64Form::kWellFormed) ||
      bytes.size() < kFixedCipherIvLength + kFixedCipherBlockLength ||
      (bytes.size() - kFixedCipherIvLength) % kFixedCipherBlockLength != 0 || LooksLikeJsonText(bytes)) {
    return false;
  }
  record.kind = RecordKind::kSsvText;
  return true;
}

// The five-argument EncryptWithPassword hands out its record as plain JSON, beside the raw cipher
// bytes: a password cipher text's record, read by the cipher record's own JSON reader.
bool ReadPasswordCipherRecord(const std::string& text, ReadRecord& record) {
  CipherMeta_t meta;
  if (!text.starts_with('{') || !CipherMetaFromJsonStr(text, meta) || meta.version == 0 || !meta.keyName.empty() ||
      meta.digestName.empty()) {
    return false;
  }
  record.kind = RecordKind::kPasswordCipherText;
  record.iterations = meta.iterations;
  return true;
}

}  // namespace

ReadRecord ReadAnyRecord(const std::string& text) {
  ReadRecord record;
  if (ReadCipherText(text, record) || ReadHmacRecord(text, record) || ReadHashingRecord(text, record) ||
      ReadArgon2idHash(text, record) || ReadPasswordCipherRecord(text, record) || LooksLikeSsvText(text, record)) {
    return record;
  }
  return ReadRecord{};
}

}  // namespace QVCryptoService
