#pragma once

// The records that describe a digest, checksum, password hash or HMAC, and their JSON and
// serialized forms. They hold no secrets (salts and digests only) and are not wiped.

#include <qvcryptoservice/qvcs_export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zkJson {
class Value;
}

namespace QVCryptoService {

// HashingData_t describes a salted digest, a checksum or a password hash. `version` 0 is an
// empty record.
struct QVCS_EXPORT HashingData_t {
  std::int32_t version = 0;
  std::int32_t iterations = 0;
  std::string digestName;
  std::vector<std::uint8_t> salt;
  std::vector<std::uint8_t> digest;

  HashingData_t();
  HashingData_t(const HashingData_t& other);
  // A moved-from record keeps its integers; its strings and vectors are empty.
  HashingData_t(HashingData_t&& other) noexcept;
  HashingData_t& operator=(const HashingData_t& other);
  HashingData_t& operator=(HashingData_t&& other) noexcept;
  ~HashingData_t();
};

// SigningData_t describes an HMAC and the keystore key (name and version) that keyed it.
struct QVCS_EXPORT SigningData_t {
  std::uint32_t version = 0;
  std::string digestName;
  std::string keyName;
  std::int32_t keyVersion = 0;
  std::vector<std::uint8_t> hmac;

  SigningData_t();
  SigningData_t(const SigningData_t& other);
  SigningData_t(SigningData_t&& other) noexcept;
  SigningData_t& operator=(const SigningData_t& other);
  SigningData_t& operator=(SigningData_t&& other) noexcept;
  ~SigningData_t();
};

// HashingDataToJson sets "v", "dn", "it" (when iterations is not 0), "sa" (when the salt is not
// empty) and "di" on `target`, keeping members it already has under other keys.
QVCS_EXPORT void HashingDataToJson(const HashingData_t& record, zkJson::Value& target);
// HashingDataFromJson reads a record; false when "v" is missing, or when "v" is not 0 and "dn"
// or "di" is missing, or a member does not convert. The record may be partly written on false.
QVCS_EXPORT bool HashingDataFromJson(HashingData_t& record, const zkJson::Value& source);
// HashingDataToJsonStr returns the compact JSON text, ending in a line feed.
QVCS_EXPORT std::string HashingDataToJsonStr(const HashingData_t& record);
// HashingDataFromJsonStr parses the text and reads it; false for text that is not JSON.
QVCS_EXPORT bool HashingDataFromJsonStr(HashingData_t& record, std::string json);
// SerializeHashingData returns the single-line base64 of the JSON text. It does not change the
// record (the non-const reference is kept for compatibility).
QVCS_EXPORT std::string SerializeHashingData(HashingData_t& record);
// DeserializeHashingData reverses SerializeHashingData; false when the text does not decode.
QVCS_EXPORT bool DeserializeHashingData(HashingData_t& record, std::string serialized);

// The same six for SigningData_t. "v" is written as an unsigned integer (a hashing record
// writes it signed); "dn", "kn", "kv" and "hm" are always written and all required to read.
QVCS_EXPORT void SigningDataToJson(const SigningData_t& record, zkJson::Value& target);
QVCS_EXPORT bool SigningDataFromJson(SigningData_t& record, const zkJson::Value& source);
QVCS_EXPORT std::string SigningDataToJsonStr(const SigningData_t& record);
QVCS_EXPORT bool SigningDataFromJsonStr(SigningData_t& record, std::string json);
QVCS_EXPORT std::string SerializeSigningData(SigningData_t& record);
QVCS_EXPORT bool DeserializeSigningData(SigningData_t& record, std::string serialized);

}  // namespace QVCryptoService
