#pragma once

// The record that travels with every cipher text, and its JSON and serialized forms.

#include <qvcryptoservice/qvcs_export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zkJson {
class Value;
}

namespace QVCryptoService {

// CipherMeta_t says how a cipher text was made. `keyName` set marks keystore-key encryption,
// `digestName` set marks password-based encryption. `version` 0 is an empty record.
struct QVCS_EXPORT CipherMeta_t {
  std::int32_t version = 0;
  std::string cipherName;
  std::vector<std::uint8_t> iv;
  std::string keyName;
  std::int32_t keyVersion = 0;
  std::vector<std::uint8_t> salt;
  std::int32_t iterations = 0;
  std::string digestName;

  CipherMeta_t();
  CipherMeta_t(const CipherMeta_t& other);
  // A moved-from record keeps its integers; its strings and vectors are empty.
  CipherMeta_t(CipherMeta_t&& other) noexcept;
  CipherMeta_t& operator=(const CipherMeta_t& other);
  CipherMeta_t& operator=(CipherMeta_t&& other) noexcept;
  ~CipherMeta_t();
};

// CipherMetaToJson writes the record's members into `value` (made an object if null); members
// already there that the record does not write are kept.
QVCS_EXPORT void CipherMetaToJson(const CipherMeta_t& meta, zkJson::Value& value);

// CipherMetaToJsonStr returns the record's compact JSON text, ending in a line feed.
QVCS_EXPORT std::string CipherMetaToJsonStr(const CipherMeta_t& meta);

// CipherToJsonStr returns the record's compact JSON text with the cipher text under "cd".
QVCS_EXPORT std::string CipherToJsonStr(const CipherMeta_t& meta, const std::vector<std::uint8_t>& cipherText);

// CipherMetaFromJson reads a record from a JSON object. Returns false when "v" is missing, when
// "v" is not 0 and "cn" or "iv" is missing, or when a member does not convert; members read
// before the failure keep their new values, and absent optional members are left as they were.
QVCS_EXPORT bool CipherMetaFromJson(const zkJson::Value& value, CipherMeta_t& meta);

// CipherMetaFromJsonStr parses `json` and reads it as CipherMetaFromJson does; false when the
// text is not JSON.
QVCS_EXPORT bool CipherMetaFromJsonStr(std::string json, CipherMeta_t& meta);

// CipherFromJsonStr reads a record and its "cd" cipher text; false when either is missing.
QVCS_EXPORT bool CipherFromJsonStr(std::string json, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText);

// SeralizeCipherData returns the single-line base64 of CipherToJsonStr. The misspelled name is
// part of the exported interface and kept for compatibility.
QVCS_EXPORT std::string SeralizeCipherData(const CipherMeta_t& meta, const std::vector<std::uint8_t>& cipherText);

// DeserialzeCipherData reverses SeralizeCipherData; false when the text does not decode to a
// record with its cipher text. The misspelled name is kept for compatibility.
QVCS_EXPORT bool DeserialzeCipherData(std::string serialized, CipherMeta_t& meta,
                                      std::vector<std::uint8_t>& cipherText);

}  // namespace QVCryptoService
