#include <qvcryptoservice/keystore_db.h>

#include "keystore_db/db_backend.h"
#include "keystore_db/key_table.h"
#include "keystore_db/key_wrap.h"
#include "keystore_db/keystore_config.h"
#include "keystore_db/master_key.h"
#include "keystore_db/schema.h"
#include "platform/private_database_file.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>

namespace QVCryptoService {

using namespace keystore_db;

namespace {

constexpr std::size_t kMaxNameLength = 255;
constexpr std::int32_t kDefaultDigestKeyLength = 32;
constexpr std::int32_t kMinDigestKeyLength = 16;
constexpr std::int32_t kMaxDigestKeyLength = 1024;
constexpr std::int32_t kUsageEncrypt = 4;
constexpr std::int32_t kFormatVersion = 0x01000000;

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

bool ValidName(const std::string& name) {
  return !name.empty() && name.size() <= kMaxNameLength && name.find('\0') == std::string::npos;
}

// KeyShape settles the algorithm, length and usage of a new key from what the caller asked.
std::int32_t KeyShape(const QVKeyControlData* ctl, StoredKey& row) {
  row.algorithm = ctl != nullptr && !ctl->algorithm.empty() ? ctl->algorithm : "aes-256-cbc";
  const std::int32_t asked = ctl != nullptr ? ctl->keyLength : 0;
  if (ctl != nullptr && ctl->state != 0 && ctl->state != QV_KEY_ACTIVE) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  if (const EVP_CIPHER* cipher = EVP_get_cipherbyname(row.algorithm.c_str())) {
    const int length = EVP_CIPHER_get_key_length(cipher);
    if (length <= 0 || (asked != 0 && asked != length)) {
      return KS_ERR_INVALID_PARAMETERS;
    }
    row.keyLength = length;
    row.usageMask = kUsageEncrypt;
    return KS_SUCCESS;
  }
  if (EVP_get_digestbyname(row.algorithm.c_str()) != nullptr) {
    row.keyLength = asked != 0 ? asked : kDefaultDigestKeyLength;
    if (row.keyLength < kMinDigestKeyLength || row.keyLength > kMaxDigestKeyLength) {
      return KS_ERR_INVALID_PARAMETERS;
    }
    row.usageMask = 0;
    return KS_SUCCESS;
  }
  return KS_ERR_INVALID_PARAMETERS;
}

constexpr std::size_t kKeystoreIdLength = 16;

// MakeOneLine joins the lines of a database library's message (libpq's end in a line break and
// may add an indented hint) into one, each run of white space one space.
void MakeOneLine(std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool space = c == ' ' || c == '\n' || c == '\r' || c == '\t';
    if (!space) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  if (!line.empty() && line.back() == ' ') {
    line.pop_back();
  }
  text = std::move(line);
}

KeyBinding BindingOf(const std::string& keystoreId, const StoredKey& row) {
  return {keystoreId, row.name, row.version, row.algorithm, row.keyLength};
}

}  // namespace

class QVKeystoreDb::Impl {
 public:
  std::int32_t Initialize(const zkJson::Value& value, std::string& reason);
  std::int32_t Refresh();
  std::int32_t ReSync();
  std::int32_t Create(const std::string& name, const QVKeyControlData* ctl);
  std::int32_t Destroy(const std::string& name, std::int32_t version);
  std::int32_t Get(const std::string& name, SecureBlock& key, QVKeyControlData& ctl, std::int32_t version);
  std::int32_t Rotate(const std::string& name, std::optional<std::int32_t> expectedVersion);
  std::int32_t Retire(const std::string& name, std::int32_t version);
  std::int32_t Describe(std::vector<QVKeyDescription>& keys);

 private:
  using Versions = std::map<std::int32_t, StoredKey>;

  std::int32_t RefreshLocked();
  // Settle is how every change reaches the cache: once its transaction has committed, the key set
  // it committed replaces the one loaded before. No change patches the cache by a rule of its own.
  std::int32_t Settle(EQVKeystoreCode code, std::vector<StoredKey> committed);
  static std::map<std::string, Versions> Index(std::vector<StoredKey> rows);
  // EstablishMasterKey finds (or, for a new keystore, makes) the master key and the keystore's
  // id, and checks the master key against the database.
  std::int32_t EstablishMasterKey(KeyTable& table, const KeystoreConfig& config, SecureBlock& masterKey,
                                  std::string& keystoreId, std::string& reason);
  std::optional<std::string> Wrap(const StoredKey& row);
  MakeWrapped WrapNew() {
    return [this](const StoredKey& pending) { return Wrap(pending); };
  }

  std::mutex mutex_;
  std::unique_ptr<DbBackend> db_;
  std::unique_ptr<KeyTable> table_;
  KeystoreConfig config_;
  SecureBlock masterKey_;
  std::string keystoreId_;
  std::map<std::string, Versions> keys_;
};

std::optional<std::string> QVKeystoreDb::Impl::Wrap(const StoredKey& row) {
  SecureBlock material(static_cast<std::size_t>(row.keyLength));
  std::string wrapped;
  if (RAND_bytes(material.data(), row.keyLength) != 1 ||
      !WrapKey(masterKey_, BindingOf(keystoreId_, row), material, wrapped)) {
    return std::nullopt;
  }
  return wrapped;
}

std::int32_t QVKeystoreDb::Impl::EstablishMasterKey(KeyTable& table, const KeystoreConfig& config,
                                                    SecureBlock& masterKey, std::string& keystoreId,
                                                    std::string& reason) {
  const std::vector<std::string> items = {std::string(kMetaMasterCheck), std::string(kMetaMasterUnderSsv),
                                          std::string(kMetaKeystoreId), std::string(kMetaKeySet)};
  // Twice at most: a new keystore stores its master key (unless another process just did), then
  // everyone reads back what is stored and uses that.
  for (int pass = 0; pass < 2; ++pass) {
    std::vector<std::optional<std::string>> meta;
    if (const EQVKeystoreCode code = table.ReadMeta(items, meta); code != KS_SUCCESS) {
      return code;
    }
    const std::optional<std::string>& check = meta[0];
    const std::optional<std::string>& underSsv = meta[1];
    const std::optional<std::string>& storedId = meta[2];
    const std::optional<std::string>& keySet = meta[3];
    const bool fromSsv = config.masterKeySource == MasterKeySource::kSsv;
    SecureBlock candidate;
    std::vector<std::pair<std::string, std::string>> toStore;
    if (fromSsv && underSsv) {
      if (const EQVKeystoreCode code = OpenUnderSsv(*underSsv, candidate); code != KS_SUCCESS) {
        return code;
      }
    } else if (fromSsv) {
      if (check) {
        return KS_ERR_CORRUPTED;  // made with a host master key: the SSV cannot open it
      }
      candidate.resize(kMasterKeyLength);
      std::string sealed;
      if (RAND_bytes(candidate.data(), static_cast<int>(candidate.size())) != 1) {
        return KS_ERR_UNSPECIFIED;
      }
      if (const EQVKeystoreCode code = SealUnderSsv(candidate, sealed); code != KS_SUCCESS) {
        return code;
      }
      toStore.emplace_back(kMetaMasterUnderSsv, std::move(sealed));
    } else if (!LoadHostMasterKey(config, candidate, reason)) {
      return KS_ERR_INVALID_PARAMETERS;
    }
    if (check) {
      if (!VerifyMasterCheck(candidate, *check)) {
        return KS_ERR_CORRUPTED;
      }
      if (!storedId && !keySet) {
        return KS_ERR_NOT_SUPPORTED;  // made before keys were bound to a keystore id and a summary
      }
      if (!storedId || storedId->size() != kKeystoreIdLength) {
        return KS_ERR_CORRUPTED;
      }
      masterKey = std::move(candidate);
      keystoreId = *storedId;
      return KS_SUCCESS;
    }
    if (pass == 1) {
      break;
    }
    std::string newCheck;
    if (!MakeMasterCheck(candidate, newCheck)) {
      return KS_ERR_UNSPECIFIED;
    }
    toStore.emplace_back(kMetaMasterCheck, std::move(newCheck));
    // A new keystore: its id, and the summary of its empty key set.
    std::string newId(kKeystoreIdLength, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(newId.data()), static_cast<int>(newId.size())) != 1) {
      return KS_ERR_UNSPECIFIED;
    }
    const std::optional<std::string> emptySet = KeySetSeal(candidate, newId).Seal(0, {});
    if (!emptySet) {
      return KS_ERR_UNSPECIFIED;
    }
    toStore.emplace_back(kMetaKeystoreId, std::move(newId));
    toStore.emplace_back(kMetaKeySet, *emptySet);
    if (const EQVKeystoreCode code = table.InsertMetaIfAbsent(toStore); code != KS_SUCCESS) {
      return code;
    }
  }
  return KS_ERR_CORRUPTED;
}

std::int32_t QVKeystoreDb::Impl::Initialize(const zkJson::Value& value, std::string& reason) {
  reason.clear();
  KeystoreConfig config;
  if (!ParseConfig(value, config, reason)) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  // Everything that can be checked without the database is, so that a bad configuration
  // creates nothing.
  if (config.masterKeySource == MasterKeySource::kSsv) {
    if (!SsvAvailable()) {
      return KS_ERR_SSV_NOT_INITIALIZED;
    }
  } else {
    SecureBlock probe;
    if (!LoadHostMasterKey(config, probe, reason)) {
      return KS_ERR_INVALID_PARAMETERS;
    }
  }
  std::unique_ptr<DbBackend> db;
  if (config.backend == BackendKind::kSqlite) {
    if (config.sqlitePath.empty()) {
      reason = "no \"path\" given and no machine root to keep the default database in";
      return KS_ERR_INVALID_PARAMETERS;
    }
    if (config.sqlitePath == DefaultSqlitePath()) {
      // Made private from the start; should it fail, opening the file below reports it.
      (void)platform::MakePrivateDirectories(std::filesystem::path(config.sqlitePath).parent_path().string());
    }
    db = OpenSqlite(config.sqlitePath, config.busyTimeoutMs, reason);
  } else {
    db = OpenPostgres(config.connection, config.busyTimeoutMs, reason);
  }
  if (!db) {
    return KS_ERR_DATABASE;
  }
  auto table = std::make_unique<KeyTable>(*db);
  if (const EQVKeystoreCode code = table->CreateSchema(); code != KS_SUCCESS) {
    reason = table->LastError();
    return code;
  }
  SecureBlock masterKey;
  std::string keystoreId;
  if (const std::int32_t code = EstablishMasterKey(*table, config, masterKey, keystoreId, reason); code != KS_SUCCESS) {
    if (code == KS_ERR_DATABASE) {
      reason = table->LastError();
    }
    return code;
  }
  table->UseSeal(KeySetSeal(masterKey, keystoreId));
  std::vector<StoredKey> rows;
  if (const EQVKeystoreCode code = table->LoadAll(rows); code != KS_SUCCESS) {
    if (code == KS_ERR_DATABASE) {
      reason = table->LastError();
    }
    return code;
  }
  const std::lock_guard lock(mutex_);
  db_ = std::move(db);
  table_ = std::move(table);
  config_ = std::move(config);
  masterKey_ = std::move(masterKey);
  keystoreId_ = std::move(keystoreId);
  keys_ = Index(std::move(rows));
  return KS_SUCCESS;
}

std::map<std::string, QVKeystoreDb::Impl::Versions> QVKeystoreDb::Impl::Index(std::vector<StoredKey> rows) {
  std::map<std::string, Versions> index;
  for (StoredKey& row : rows) {
    const std::string name = row.name;
    const std::int32_t version = row.version;
    index[name].emplace(version, std::move(row));
  }
  return index;
}

std::int32_t QVKeystoreDb::Impl::RefreshLocked() {
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  std::vector<StoredKey> rows;
  if (const EQVKeystoreCode code = table_->LoadAll(rows); code != KS_SUCCESS) {
    return code;
  }
  keys_ = Index(std::move(rows));
  return KS_SUCCESS;
}

std::int32_t QVKeystoreDb::Impl::Settle(EQVKeystoreCode code, std::vector<StoredKey> committed) {
  if (code == KS_SUCCESS) {
    keys_ = Index(std::move(committed));
  }
  return code;
}

std::int32_t QVKeystoreDb::Impl::Refresh() {
  const std::lock_guard lock(mutex_);
  return RefreshLocked();
}

std::int32_t QVKeystoreDb::Impl::ReSync() {
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  std::vector<std::optional<std::string>> meta;
  if (const EQVKeystoreCode code = table_->ReadMeta({std::string(kMetaMasterCheck)}, meta); code != KS_SUCCESS) {
    return code;
  }
  if (!meta[0] || !VerifyMasterCheck(masterKey_, *meta[0])) {
    return KS_ERR_CORRUPTED;
  }
  return RefreshLocked();
}

std::int32_t QVKeystoreDb::Impl::Create(const std::string& name, const QVKeyControlData* ctl) {
  StoredKey row;
  row.name = name;
  if (!ValidName(name)) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  if (const std::int32_t code = KeyShape(ctl, row); code != KS_SUCCESS) {
    return code;
  }
  row.createdAt = Now();
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  std::vector<StoredKey> committed;
  const EQVKeystoreCode code = table_->CreateFirst(row, WrapNew(), committed);
  return Settle(code, std::move(committed));
}

std::int32_t QVKeystoreDb::Impl::Rotate(const std::string& name, std::optional<std::int32_t> expectedVersion) {
  if (!ValidName(name)) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  if (!expectedVersion) {
    if (keys_.count(name) == 0) {
      (void)RefreshLocked();
    }
    const auto found = keys_.find(name);
    if (found == keys_.end() || found->second.empty()) {
      return KS_ERR_KEY_NOT_FOUND;
    }
    expectedVersion = found->second.rbegin()->first;
  }
  std::vector<StoredKey> committed;
  const EQVKeystoreCode code = table_->Rotate(name, *expectedVersion, Now(), WrapNew(), committed);
  if (code == KS_ERR_KEY_VERSION_EXISTS) {
    // Another process rotated first: serve its version from now on.
    (void)RefreshLocked();
  }
  return Settle(code, std::move(committed));
}

std::int32_t QVKeystoreDb::Impl::Destroy(const std::string& name, std::int32_t version) {
  if (!ValidName(name) || version < 0) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  std::vector<StoredKey> committed;
  const EQVKeystoreCode code = table_->Destroy(name, version, Now(), committed);
  return Settle(code, std::move(committed));
}

std::int32_t QVKeystoreDb::Impl::Retire(const std::string& name, std::int32_t version) {
  if (!ValidName(name) || version < 0) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  std::vector<StoredKey> committed;
  const EQVKeystoreCode code = table_->Retire(name, version, Now(), committed);
  return Settle(code, std::move(committed));
}

std::int32_t QVKeystoreDb::Impl::Get(const std::string& name, SecureBlock& key, QVKeyControlData& ctl,
                                     std::int32_t version) {
  if (version < 0) {
    return KS_ERR_INVALID_PARAMETERS;
  }
  const std::lock_guard lock(mutex_);
  if (!table_) {
    return KS_ERR_DATABASE;
  }
  const auto named = keys_.find(name);
  if (named == keys_.end()) {
    return KS_ERR_KEY_NOT_FOUND;
  }
  const StoredKey* chosen = nullptr;
  if (version == 0) {
    // The active version, or none: a retired key must neither encrypt nor sign.
    bool live = false;
    for (auto it = named->second.rbegin(); it != named->second.rend() && chosen == nullptr; ++it) {
      live = live || it->second.state != QV_KEY_DESTROYED;
      if (it->second.state == QV_KEY_ACTIVE) {
        chosen = &it->second;
      }
    }
    if (chosen == nullptr) {
      return live ? KS_ERR_KEY_VERSION_NOT_FOUND : KS_ERR_KEY_NOT_FOUND;
    }
  } else {
    const auto found = named->second.find(version);
    if (found == named->second.end() || found->second.state == QV_KEY_DESTROYED) {
      return KS_ERR_KEY_VERSION_NOT_FOUND;
    }
    chosen = &found->second;
  }
  SecureBlock material;
  if (!UnwrapKey(masterKey_, BindingOf(keystoreId_, *chosen), chosen->wrapped, material)) {
    return KS_ERR_CORRUPTED;
  }
  QVKeyControlData filled;
  filled.state = chosen->state;
  filled.rotationPolicy = 0;
  filled.formatVersion = kFormatVersion;
  filled.keyLength = chosen->keyLength;
  filled.version = chosen->version;
  filled.usageMask = chosen->usageMask;
  filled.createdAt = chosen->createdAt;
  filled.deactivatedAt = chosen->deactivatedAt;
  filled.symmetric = true;
  filled.algorithm = chosen->algorithm;
  key = std::move(material);
  ctl = std::move(filled);
  return KS_SUCCESS;
}

std::int32_t QVKeystoreDb::Impl::Describe(std::vector<QVKeyDescription>& keys) {
  const std::lock_guard lock(mutex_);
  if (const std::int32_t code = RefreshLocked(); code != KS_SUCCESS) {
    return code;
  }
  std::vector<QVKeyDescription> described;
  for (const auto& [name, versions] : keys_) {
    for (const auto& [version, row] : versions) {
      described.push_back(
          {row.name, row.version, row.state, row.algorithm, row.keyLength, row.createdAt, row.deactivatedAt});
    }
  }
  keys = std::move(described);
  return KS_SUCCESS;
}

QVKeystoreDb::QVKeystoreDb() : impl_(std::make_unique<Impl>()) {}
QVKeystoreDb::~QVKeystoreDb() = default;

std::string QVKeystoreDb::getPluginName() { return "QVKeystoreDb"; }
std::string QVKeystoreDb::getPluginDescription() {
  return "Keystore in SQLite or PostgreSQL, each key wrapped under a master key";
}
std::int32_t QVKeystoreDb::initialize(const zkJson::Value& config) {
  std::string reason;
  return impl_->Initialize(config, reason);
}
std::int32_t QVKeystoreDb::initialize(const zkJson::Value& config, std::string& reason) {
  const std::int32_t code = impl_->Initialize(config, reason);
  MakeOneLine(reason);
  return code;
}
std::int32_t QVKeystoreDb::refreshKeys(bool /*versionMissing*/) { return impl_->Refresh(); }
std::int32_t QVKeystoreDb::createKey(const std::string& name, const QVKeyControlData* ctl) {
  return impl_->Create(name, ctl);
}
std::int32_t QVKeystoreDb::createKeyPair(const std::string& /*name*/, const QVKeyControlData* /*ctl*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreDb::destroyKey(const std::string& name, std::int32_t version) {
  return impl_->Destroy(name, version);
}
std::int32_t QVKeystoreDb::getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl,
                                  std::int32_t version) {
  return impl_->Get(name, key, ctl, version);
}
std::int32_t QVKeystoreDb::listKeys(bool flag, std::vector<QVKeyListEntry>& keys) {
  std::vector<QVKeyDescription> described;
  if (const std::int32_t code = impl_->Describe(described); code != KS_SUCCESS) {
    return code;
  }
  for (const QVKeyDescription& entry : described) {
    if (flag || entry.state != QV_KEY_DESTROYED) {
      keys.emplace_back(entry.name, entry.version);
    }
  }
  return KS_SUCCESS;
}
std::int32_t QVKeystoreDb::reKey(const std::string& name) { return impl_->Rotate(name, std::nullopt); }
std::int32_t QVKeystoreDb::re_sync() { return impl_->ReSync(); }
std::int32_t QVKeystoreDb::reKey(const std::string& name, std::int32_t expectedVersion) {
  return impl_->Rotate(name, expectedVersion);
}
std::int32_t QVKeystoreDb::retireKey(const std::string& name, std::int32_t version) {
  return impl_->Retire(name, version);
}
std::int32_t QVKeystoreDb::describeKeys(std::vector<QVKeyDescription>& keys) { return impl_->Describe(keys); }

std::string QVKeystoreDb::stateName(std::int32_t state) {
  const char* name = QVKeyStateName(state);
  return name != nullptr ? name : "state " + std::to_string(state);
}

}  // namespace QVCryptoService
