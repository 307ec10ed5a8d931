#pragma once

// A keystore for tests: keys by name and version, each with its own state, algorithm and
// length; codes to answer instead of keys; and counts of what the engines asked for.

#include <qvcryptoservice/keystore.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

using QVCryptoService::QVKeyControlData;
using QVCryptoService::SecureBlock;

class TestKeystore : public QVCryptoService::IQVKeyStore {
 public:
  struct Key {
    SecureBlock bytes;
    QVKeyControlData ctl;
  };

  // AddKey serves `bytes` under (name, version); the newest version added is the current one.
  void AddKey(const std::string& name, std::int32_t version, SecureBlock bytes, const std::string& algorithm,
              std::int32_t state = 2);
  // AddKeyAfterRefresh makes the key appear only once refreshKeys has been called.
  void AddKeyAfterRefresh(const std::string& name, std::int32_t version, SecureBlock bytes,
                          const std::string& algorithm);
  // FailGetKey makes every getKey answer `code` (0 serves keys again).
  void FailGetKey(std::int32_t code) { forcedGetKeyCode_ = code; }
  void SetRefreshResult(std::int32_t code) { refreshResult_ = code; }
  Key* Find(const std::string& name, std::int32_t version);

  int getKeyCalls() const { return getKeyCalls_; }
  const std::vector<bool>& refreshFlags() const { return refreshFlags_; }
  const std::vector<std::int32_t>& requestedVersions() const { return requestedVersions_; }

  std::string getPluginName() override { return "TestKeystore"; }
  std::string getPluginDescription() override { return "keys for tests"; }
  std::int32_t initialize(const zkJson::Value& /*config*/) override { return 0; }
  std::int32_t refreshKeys(bool versionMissing) override;
  std::int32_t createKey(const std::string& /*name*/, const QVKeyControlData* /*ctl*/) override { return 16; }
  std::int32_t createKeyPair(const std::string& /*name*/, const QVKeyControlData* /*ctl*/) override { return 16; }
  std::int32_t destroyKey(const std::string& /*name*/, std::int32_t /*version*/) override { return 16; }
  std::int32_t getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl, std::int32_t version) override;
  std::int32_t listKeys(bool /*flag*/, std::vector<QVCryptoService::QVKeyListEntry>& /*keys*/) override { return 16; }
  std::int32_t reKey(const std::string& /*name*/) override { return 16; }
  std::int32_t re_sync() override { return 0; }

 private:
  using KeyId = std::pair<std::string, std::int32_t>;
  std::mutex mutex_;
  std::map<KeyId, Key> keys_;
  std::map<KeyId, Key> pendingUntilRefresh_;
  std::int32_t forcedGetKeyCode_ = 0;
  std::int32_t refreshResult_ = 0;
  int getKeyCalls_ = 0;
  std::vector<bool> refreshFlags_;
  std::vector<std::int32_t> requestedVersions_;
};

}  // namespace testsupport
