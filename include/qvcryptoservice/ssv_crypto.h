#pragma once

// The system secret value (SSV): a machine-bound secret kept in the machine store as 25 shares,
// from which the library deduces one AES-256 key for data that must stay on this machine.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <mutex>
#include <string>
#include <vector>

namespace QVCryptoService {

// QVSSVCrypto loads the machine's SSV record lazily, on first use, and recombines its shares on
// every request; the recombined secrets are never cached. One object serves any number of
// threads: its mutex covers loading and recombination.
class QVCS_EXPORT QVSSVCrypto {
 public:
  // QVSSVCrypto starts unloaded: no component id and no shares.
  QVSSVCrypto();
  ~QVSSVCrypto();
  QVSSVCrypto(const QVSSVCrypto&) = delete;
  QVSSVCrypto& operator=(const QVSSVCrypto&) = delete;

  // generateSSV makes a new SSV record and stores it as the machine's current one. Unless
  // `force` is set, it first looks for an existing SSV (a staging file in the system directory,
  // or a record in any of the machine store's locations) and returns KS_SUCCESS without
  // touching anything if it finds one. The record passes through a staging file in
  // `directory`, which is removed again. Returns KS_SUCCESS; KS_ERR_SSV_NOT_INITIALIZED when
  // the staging file cannot be written and read back; KS_ERR_NO_SSV_PERMISSION when the store
  // refuses access; KS_ERR_RESERVED_13 for any other store failure; KS_ERR_UNSPECIFIED when a
  // random source fails (nothing is written then). Needs write access to the machine store; not
  // meant for concurrent callers.
  static EQVKeystoreCode generateSSV(const std::string& directory, bool force);

  // getComponentId returns the 32-character component id of the machine's SSV record, loading
  // the record first if needed. Returns an empty string (and logs "The SSV is corrupted") when
  // no record can be loaded; the next call tries again.
  std::string getComponentId();

  // recoverSSV recombines the record's five share groups and appends their 32-byte secrets to
  // `groupSecrets`, in group order. Returns KS_SUCCESS; KS_ERR_SSV_NOT_INITIALIZED when no
  // record can be loaded; KS_ERR_INVALID_SSV_DATA (logged) when a group fails to recombine, in
  // which case the secrets of the groups before it have already been appended. The caller owns
  // the appended secrets and must erase them after use.
  EQVKeystoreCode recoverSSV(std::vector<std::string>& groupSecrets);

 private:
  // loadSSV fills the component id and the shares from the staging file in `directory` when it
  // holds exactly one record, otherwise from the first machine-store location that holds one.
  // Throws std::runtime_error("ssv does not exist or is corrupted!") when none does.
  EQVKeystoreCode loadSSV(const std::string& directory);

  // initSSV is loadSSV on the system directory, with a failure logged and returned as
  // KS_ERR_SSV_NOT_INITIALIZED. Call with the mutex held.
  EQVKeystoreCode initSSV();

  // deduceKey folds the group secrets and the compiled-in key text into the SSV key by XOR; the
  // key is as long as the first secret (the key text alone when there is none).
  static SecureBlock deduceKey(const std::vector<std::string>& groupSecrets);

  std::string m_componentId;
  SecureBlock m_shareStore;
  std::mutex m_lock;
};

}  // namespace QVCryptoService
