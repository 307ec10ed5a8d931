#include "tests/support/test_keystore.h"

#include <cstdint>
#include <iterator>

namespace testsupport {

namespace {
TestKeystore::Key MakeKey(std::int32_t version, SecureBlock bytes, const std::string& algorithm, std::int32_t state) {
  TestKeystore::Key key;
  key.ctl.state = state;
  key.ctl.version = version;
  key.ctl.keyLength = static_cast<std::int32_t>(bytes.size());
  key.ctl.algorithm = algorithm;
  key.ctl.symmetric = true;
  key.bytes = std::move(bytes);
  return key;
}
}  // namespace

void TestKeystore::AddKey(const std::string& name, std::int32_t version, SecureBlock bytes,
                          const std::string& algorithm, std::int32_t state) {
  const std::lock_guard lock(mutex_);
  keys_[{name, version}] = MakeKey(version, std::move(bytes), algorithm, state);
}

void TestKeystore::AddKeyAfterRefresh(const std::string& name, std::int32_t version, SecureBlock bytes,
                                      const std::string& algorithm) {
  const std::lock_guard lock(mutex_);
  pendingUntilRefresh_[{name, version}] = MakeKey(version, std::move(bytes), algorithm, 2);
}

TestKeystore::Key* TestKeystore::Find(const std::string& name, std::int32_t version) {
  const auto found = keys_.find({name, version});
  return found == keys_.end() ? nullptr : &found->second;
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
  ++getKeyCalls_;
  requestedVersions_.push_back(version);
  if (forcedGetKeyCode_ != 0) {
    return forcedGetKeyCode_;
  }
  const auto next = keys_.lower_bound({name + '\0', INT32_MIN});
  if (next == keys_.begin() || std::prev(next)->first.first != name) {
    return 4;  // KS_ERR_KEY_NOT_FOUND
  }
  const Key* found = version == 0 ? &std::prev(next)->second : Find(name, version);
  if (found == nullptr) {
    return 6;  // KS_ERR_KEY_VERSION_NOT_FOUND
  }
  key = found->bytes;
  ctl = found->ctl;
  return 0;
}

}  // namespace testsupport
