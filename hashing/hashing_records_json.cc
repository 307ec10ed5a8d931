// JSON and serialized forms of HashingData_t and SigningData_t.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/zkjson.h>

#include "json/record_text.h"

#include <exception>

namespace QVCryptoService {

void HashingDataToJson(const HashingData_t& record, zkJson::Value& target) {
  target["v"] = zkJson::Value(static_cast<std::int64_t>(record.version));
  target["dn"] = zkJson::Value(record.digestName);
  if (record.iterations != 0) {
    target["it"] = zkJson::Value(static_cast<std::int64_t>(record.iterations));
  }
  if (!record.salt.empty()) {
    target["sa"] = zkJson::Value(Base64Field(record.salt));
  }
  target["di"] = zkJson::Value(Base64Field(record.digest));
}

bool HashingDataFromJson(HashingData_t& record, const zkJson::Value& source) {
  try {
    if (!source.isMember("v")) {
      return false;
    }
    record.version = source["v"].asInt();
    // A version-0 record carries no digest; it is valid and nothing else is read.
    if (record.version == 0) {
      return true;
    }
    if (!source.isMember("dn")) {
      return false;
    }
    record.digestName = source["dn"].asString();
    if (source.isMember("it")) {
      record.iterations = source["it"].asInt();
    }
    if (source.isMember("sa")) {
      record.salt = BytesFromBase64Field(source["sa"]);
    }
    if (!source.isMember("di")) {
      return false;
    }
    record.digest = BytesFromBase64Field(source["di"]);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

std::string HashingDataToJsonStr(const HashingData_t& record) {
  zkJson::Value value;
  HashingDataToJson(record, value);
  return CompactRecordText(value);
}

bool HashingDataFromJsonStr(HashingData_t& record, std::string json) {
  zkJson::Value root;
  return ParseRecordText(json, root) && HashingDataFromJson(record, root);
}

std::string SerializeHashingData(HashingData_t& record) { return WrapRecordText(HashingDataToJsonStr(record)); }

bool DeserializeHashingData(HashingData_t& record, std::string serialized) {
  return HashingDataFromJsonStr(record, UnwrapRecordText(serialized));
}

void SigningDataToJson(const SigningData_t& record, zkJson::Value& target) {
  // Unsigned on purpose: readers of signing records have always seen "v" as an unsigned value.
  target["v"] = zkJson::Value(static_cast<std::uint64_t>(record.version));
  target["dn"] = zkJson::Value(record.digestName);
  target["kn"] = zkJson::Value(record.keyName);
  target["kv"] = zkJson::Value(static_cast<std::int64_t>(record.keyVersion));
  target["hm"] = zkJson::Value(Base64Field(record.hmac));
}

bool SigningDataFromJson(SigningData_t& record, const zkJson::Value& source) {
  try {
    if (!source.isMember("v")) {
      return false;
    }
    record.version = source["v"].asUInt();
    if (record.version == 0) {
      return true;
    }
    if (!source.isMember("dn")) {
      return false;
    }
    record.digestName = source["dn"].asString();
    if (!source.isMember("kn")) {
      return false;
    }
    record.keyName = source["kn"].asString();
    if (!source.isMember("kv")) {
      return false;
    }
    record.keyVersion = source["kv"].asInt();
    if (!source.isMember("hm")) {
      return false;
    }
    record.hmac = BytesFromBase64Field(source["hm"]);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

std::string SigningDataToJsonStr(const SigningData_t& record) {
  zkJson::Value value;
  SigningDataToJson(record, value);
  return CompactRecordText(value);
}

bool SigningDataFromJsonStr(SigningData_t& record, std::string json) {
  zkJson::Value root;
  return ParseRecordText(json, root) && SigningDataFromJson(record, root);
}

std::string SerializeSigningData(SigningData_t& record) { return WrapRecordText(SigningDataToJsonStr(record)); }

bool DeserializeSigningData(SigningData_t& record, std::string serialized) {
  return SigningDataFromJsonStr(record, UnwrapRecordText(serialized));
}

}  // namespace QVCryptoService
