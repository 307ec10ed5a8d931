#pragma once

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/qvcs_export.h>

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QVCryptoService {

// kDefaultKeystoreName names the keystore that the engines use when no other is named: the one
// that encryption falls back to and that signing always uses.
inline constexpr const char* kDefaultKeystoreName = "ZKSystem";

// CQVKeystoreMgr holds the registered keystores by name. Safe for concurrent use; the pointers
// it hands out keep a keystore alive after it has been replaced.
class QVCS_EXPORT CQVKeystoreMgr {
 public:
  CQVKeystoreMgr();
  CQVKeystoreMgr(const CQVKeystoreMgr&) = delete;
  CQVKeystoreMgr& operator=(const CQVKeystoreMgr&) = delete;
  virtual ~CQVKeystoreMgr();

  // GetKeystore returns the keystore registered under exactly `name`, or an empty pointer.
  std::shared_ptr<IQVKeyStore> GetKeystore(const std::string& name);

  // AddKeystore registers `store` under `name`, replacing any keystore registered under it.
  // Always returns true.
  bool AddKeystore(const std::string& name, const std::shared_ptr<IQVKeyStore>& store);

  // GetKeystoreNames returns the names under which decryption searches for keys: empty when no
  // keystore is registered, "ZKSystem" for one, "ZKSystem" and "Initial_Tenant" for two or more.
  // The registered names themselves are not listed; deliberate, and kept for compatibility with
  // hosts that register their tenant keystore under other names.
  std::vector<std::string> GetKeystoreNames();

 private:
  std::map<std::string, std::shared_ptr<IQVKeyStore>> keystores_;
  std::mutex mutex_;
  // Lets GetKeystoreNames answer without the lock and without racing a registration.
  std::atomic<std::size_t> count_{0};
};

}  // namespace QVCryptoService
