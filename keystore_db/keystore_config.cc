#include "keystore_db/keystore_config.h"

#include "platform/system_directory.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace QVCryptoService::keystore_db {
namespace {

constexpr int kMaxBusyTimeoutMs = 600000;

// Every member must be one the keystore knows: a misspelt "pathh" would otherwise quietly open
// the default database.
bool OnlyKnownMembers(const zkJson::Value& object, std::initializer_list<std::string_view> known,
                      std::string_view where, std::string& error) {
  for (const std::string& member : object.getMemberNames()) {
    if (std::find(known.begin(), known.end(), member) == known.end()) {
      error = "unknown member \"" + member + "\" in " + std::string(where);
      return false;
    }
  }
  return true;
}

bool NonEmptyString(const zkJson::Value& object, const char* member, std::string& out, std::string& error) {
  const zkJson::Value& value = object[member];
  if (!value.isString() || value.asString().empty() || value.asString().find('\0') != std::string::npos) {
    error = std::string("\"") + member + "\" must be a non-empty string";
    return false;
  }
  out = value.asString();
  return true;
}

bool ParseMasterKey(const zkJson::Value& value, KeystoreConfig& config, std::string& error) {
  if (!value.isObject()) {
    error = "\"masterKey\" must be an object with a \"source\"";
    return false;
  }
  if (!OnlyKnownMembers(value, {"source", "file", "env"}, "\"masterKey\"", error)) {
    return false;
  }
  std::string source;
  if (!NonEmptyString(value, "source", source, error)) {
    return false;
  }
  if (source == "ssv") {
    if (value.isMember("file") || value.isMember("env")) {
      error = "the \"ssv\" master key takes no \"file\" or \"env\"";
      return false;
    }
    config.masterKeySource = MasterKeySource::kSsv;
    return true;
  }
  if (source != "host") {
    error = "\"source\" must be \"ssv\" or \"host\"";
    return false;
  }
  if (value.isMember("file") == value.isMember("env")) {
    error = "the \"host\" master key needs exactly one of \"file\" and \"env\"";
    return false;
  }
  const bool fromFile = value.isMember("file");
  config.masterKeySource = fromFile ? MasterKeySource::kHostFile : MasterKeySource::kHostEnvironment;
  return NonEmptyString(value, fromFile ? "file" : "env", config.masterKeyLocation, error);
}

}  // namespace

std::string DefaultSqlitePath() {
  const std::string root = platform::SystemDirectory();
  return root.empty() ? std::string() : root + "/keystore/keystore.db";
}

bool ParseConfig(const zkJson::Value& value, KeystoreConfig& config, std::string& error) {
  if (!value.isObject()) {
    error = "the configuration must be a JSON object";
    return false;
  }
  if (!OnlyKnownMembers(value, {"backend", "path", "connection", "busyTimeoutMs", "masterKey"}, "the configuration",
                        error)) {
    return false;
  }
  KeystoreConfig parsed;
  std::string backend;
  if (!NonEmptyString(value, "backend", backend, error)) {
    return false;
  }
  if (backend == "sqlite") {
    parsed.backend = BackendKind::kSqlite;
    if (value.isMember("connection")) {
      error = "\"connection\" is for the \"postgresql\" backend";
      return false;
    }
    if (value.isMember("path")) {
      if (!NonEmptyString(value, "path", parsed.sqlitePath, error)) {
        return false;
      }
    } else {
      parsed.sqlitePath = DefaultSqlitePath();
    }
  } else if (backend == "postgresql") {
    parsed.backend = BackendKind::kPostgres;
    if (value.isMember("path")) {
      error = "\"path\" is for the \"sqlite\" backend";
      return false;
    }
    if (!NonEmptyString(value, "connection", parsed.connection, error)) {
      return false;
    }
  } else {
    error = "\"backend\" must be \"sqlite\" or \"postgresql\"";
    return false;
  }
  if (value.isMember("busyTimeoutMs")) {
    const zkJson::Value& timeout = value["busyTimeoutMs"];
    if (!timeout.isInt64() || timeout.asInt64() < 0 || timeout.asInt64() > kMaxBusyTimeoutMs) {
      error = "\"busyTimeoutMs\" must be an integer from 0 to 600000";
      return false;
    }
    parsed.busyTimeoutMs = static_cast<int>(timeout.asInt64());
  }
  if (!value.isMember("masterKey")) {
    error = "\"masterKey\" is missing";
    return false;
  }
  if (!ParseMasterKey(value["masterKey"], parsed, error)) {
    return false;
  }
  config = std::move(parsed);
  return true;
}

}  // namespace QVCryptoService::keystore_db
