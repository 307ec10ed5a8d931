// JSON and serialized forms of CipherMeta_t. Keys are one or two letters to keep stored texts
// short; members come out in ascending key order because the writer orders them so.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/zkjson.h>

#include "encryption/cipher_text_writer.h"
#include "encryption/compact_cipher_record.h"
#include "json/record_text.h"

#include <exception>
#include <string>
#include <vector>

namespace QVCryptoService {

void CipherMetaToJson(const CipherMeta_t& meta, zkJson::Value& value) {
  value["v"] = zkJson::Value(static_cast<std::int64_t>(meta.version));
  value["cn"] = zkJson::Value(meta.cipherName);
  value["iv"] = zkJson::Value(Base64Field(meta.iv));
  // "kv" goes with "kn", and "sa" and "it" with "dn", whatever their own values.
  if (!meta.keyName.empty()) {
    value["kn"] = zkJson::Value(meta.keyName);
    value["kv"] = zkJson::Value(static_cast<std::int64_t>(meta.keyVersion));
  }
  if (!meta.digestName.empty()) {
    value["dn"] = zkJson::Value(meta.digestName);
    value["sa"] = zkJson::Value(Base64Field(meta.salt));
    value["it"] = zkJson::Value(static_cast<std::int64_t>(meta.iterations));
  }
}

std::string CipherMetaToJsonStr(const CipherMeta_t& meta) {
  zkJson::Value value;
  CipherMetaToJson(meta, value);
  return CompactRecordText(value);
}

std::string CipherToJsonStr(const CipherMeta_t& meta, const std::vector<std::uint8_t>& cipherText) {
  zkJson::Value value;
  CipherMetaToJson(meta, value);
  value["cd"] = zkJson::Value(Base64Field(cipherText));
  return CompactRecordText(value);
}

bool CipherMetaFromJson(const zkJson::Value& value, CipherMeta_t& meta) {
  try {
    if (!value.isMember("v")) {
      return false;
    }
    meta.version = value["v"].asInt();
    // A version-0 object is an empty record: nothing else in it means anything.
    if (meta.version == 0) {
      return true;
    }
    if (!value.isMember("cn")) {
      return false;
    }
    meta.cipherName = value["cn"].asString();
    if (!value.isMember("iv")) {
      return false;
    }
    meta.iv = BytesFromBase64Field(value["iv"]);
    if (value.isMember("kn")) {
      meta.keyName = value["kn"].asString();
    }
    if (value.isMember("kv")) {
      meta.keyVersion = value["kv"].asInt();
    }
    if (value.isMember("sa")) {
      meta.salt = BytesFromBase64Field(value["sa"]);
    }
    if (value.isMember("it")) {
      meta.iterations = value["it"].asInt();
    }
    if (value.isMember("dn")) {
      meta.digestName = value["dn"].asString();
    }
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool CipherMetaFromJsonStr(std::string json, CipherMeta_t& meta) {
  zkJson::Value root;
  return ParseRecordText(json, root) && CipherMetaFromJson(root, meta);
}

bool CipherFromJsonStr(std::string json, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) {
  // Records as this library writes them are read directly; every other text, and every failure,
  // goes through the JSON reader below, whose answer the direct reader gives for what it takes.
  if (ReadCompactCipherRecord(json, meta, cipherText)) {
    return true;
  }
  zkJson::Value root;
  if (!ParseRecordText(json, root) || !CipherMetaFromJson(root, meta) || root.isNull()) {
    return false;
  }
  try {
    // Required even for a version-0 record.
    if (!root.isMember("cd")) {
      return false;
    }
    cipherText = BytesFromBase64Field(root["cd"]);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// Written front to back by the same writer as the streaming forms: the text of the JSON record
// CipherToJsonStr gives, without the tree and the two texts in between.
std::string SeralizeCipherData(const CipherMeta_t& meta, const std::vector<std::uint8_t>& cipherText) {
  return SerializedCipherText(meta, cipherText);
}

bool DeserialzeCipherData(std::string serialized, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) {
  return CipherFromJsonStr(UnwrapRecordText(serialized), meta, cipherText);
}

}  // namespace QVCryptoService
