#pragma once

// A keystore for tests: keys by name and version (the newest version added is the current one),
// keys that appear only after a refresh, a code to answer instead of keys, and a record of what
// the engines asked for. What the engines never call is the built-in keystore's.

#include <qvcryptoservice/keystore_static.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

using QVCryptoService::QVKeyControlData;
using QVCryptoService::SecureBlock;

class TestKeystore : public QVCryptoService::QVKeystoreStatic {
 public:
  // AddKey serves `bytes` under (name, version) in `state`; with afterRefresh only once
  // refreshKeys has succeeded.
  void AddKey(const std::string& name, std::int32_t version, SecureBlock bytes, const std::string& algorithm,
              std::int32_t state = 2, bool afterRefresh = false);
  void FailGetKey(std::int32_t code) { forcedGetKeyCode_ = code; }  // 0 serves keys again
  void SetRefreshResult(std::int32_t code) { refreshResult_ = code; }

  int getKeyCalls() const { return static_cast<int>(requestedVersions_.size()); }
  const std::vector<bool>& refreshFlags() const { return refreshFlags_; }
  const std::vector<std::int32_t>& requestedVersions() const { return requestedVersions_; }

  std::int32_t refreshKeys(bool versionMissing) override;
  std::int32_t getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl, std::int32_t version) override;

 private:
  using KeyId = std::pair<std::string, std::int32_t>;
  using Keys = std::map<KeyId, std::pair<SecureBlock, QVKeyControlData>>;
  std::mutex mutex_;
  Keys keys_;
  Keys pendingUntilRefresh_;
  std::int32_t forcedGetKeyCode_ = 0;
  std::int32_t refreshResult_ = 0;
  std::vector<bool> refreshFlags_;
  std::vector<std::int32_t> requestedVersions_;
};

}  // namespace testsupport
