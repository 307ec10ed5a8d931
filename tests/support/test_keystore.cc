#include "tests/support/test_keystore.h"

#include <cstdint>
#include <iterator>

namespace testsupport {

void TestKeystore::AddKey(const std::string& name, std::int32_t version, SecureBlock bytes,
                          const std::string& algorithm, std::int32_t state, bool afterRefresh) {
  QVKeyControlData ctl;
  ctl.state = state;
  ctl.version = version;
  ctl.keyLength = static_cast<std::int32_t>(bytes.size());
  ctl.algorithm = algorithm;
  ctl.symmetric = true;
  const std::lock_guard lock(mutex_);
  (afterRefresh ? pendingUntilRefresh_ : keys_)[{name, version}] = {std::move(bytes), ctl};
}

std::int32_t TestKeystore::refreshKeys(bool versionMissing) {
  const std::lock_guard lock(mutex_);
  refreshFlags_.push_back(versionMissing);
  if (refreshResult_ == 0) {
    keys_.merge(pendingUntilRefresh_);
    pendingUntilRefresh_.clear();
  }
  return refreshResult_;
}

// Keys are ordered by name, then version: the current version of a name is its last entry.
std::int32_t TestKeystore::getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl,
                                  std::int32_t version) {
  const std::lock_guard lock(mutex_);
  requestedVersions_.push_back(version);
  if (forcedGetKeyCode_ != 0) {
    return forcedGetKeyCode_;
  }
  const auto next = keys_.lower_bound({name + '\0', INT32_MIN});
  if (next == keys_.begin() || std::prev(next)->first.first != name) {
    return 4;  // KS_ERR_KEY_NOT_FOUND
  }
  const auto found = version == 0 ? std::prev(next) : keys_.find({name, version});
  if (found == keys_.end()) {
    return 6;  // KS_ERR_KEY_VERSION_NOT_FOUND
  }
  key = found->second.first;
  ctl = found->second.second;
  return 0;
}

}  // namespace testsupport
