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
//
// Encryption uses AES-256-CBC under the key deduced from the SSV. The binary form of a cipher
// text is the 16-byte IV followed by the cipher text; the text form is its base64.
class QVCS_EXPORT QVSSVCrypto {
 public:
  // QVSSVCrypto starts unloaded: no component id and no shares.
  QVSSVCrypto();
  QVSSVCrypto(const QVSSVCrypto&) = delete;
  QVSSVCrypto& operator=(const QVSSVCrypto&) = delete;

  // The order of the virtual operations is part of the binary interface.
  // QVEncrypt encrypts `plain` under the SSV key into the text form. Returns 0;
  // PXA_ERR_SSV_FILE (logged) when the SSV cannot be recovered; or what EVPEncrypt returns. The
  // output is untouched on failure. The SSV is recovered afresh on every call.
  virtual PxaResult QVEncrypt(const SecureBlock& plain, std::string& cipherText);
  // QVDecrypt decodes the text form and decrypts it as QVDecrypt_Bin does.
  virtual PxaResult QVDecrypt(const std::string& cipherText, SecureBlock& plain);
  virtual ~QVSSVCrypto();
  // QVDecrypt_Bin decrypts the binary form. Returns 0; PXA_ERR_SSV_FILE (logged) when the SSV
  // cannot be recovered, checked first; PXA_ERR_INVALID_ARGUMENTS (logged) for input shorter than
  // an IV; or an OpenSSL-family value for a wrong key or damaged data. `plain` is untouched on
  // failure.
  virtual PxaResult QVDecrypt_Bin(const std::string& cipherText, SecureBlock& plain);
  // QVEncrypt_Bin is QVEncrypt with the binary form as output.
  PxaResult QVEncrypt_Bin(const SecureBlock& plain, std::string& cipherText);

  // EncryptBySSV encrypts under the key deduced from five recovered group secrets into the text
  // form. PXA_ERR_SSV_FILE (logged "The SSV is corrupted") unless there are exactly five.
  static PxaResult EncryptBySSV(const std::vector<std::string>& groupSecrets, const SecureBlock& plain,
                                std::string& cipherText);

  // generateSSV makes a new SSV record and stores it as the machine's current one. Unless
  // `force` is set, it first looks for an existing SSV (a staging file in the system directory,
  // or a record in any of the machine store's locations) and returns KS_SUCCESS without
  // touching anything if it finds one. The record passes through a staging file in
  // `directory`, which is removed again: give a directory only the caller and root can write
  // (the machine root). The staging file is created exclusively, owner-only from the start,
  // without following links; a stale one of this account is removed first, anything else there
  // is refused. Looking, making and storing run under a machine-wide lock, so concurrent callers
  // store one record between them (without `force`, every one of them reports that one).
  // Returns KS_SUCCESS; KS_ERR_SSV_NOT_INITIALIZED when the staging file cannot be written and
  // read back (or something not ours is in its place); KS_ERR_NO_SSV_PERMISSION when the store
  // refuses access or the machine root is not trusted (writable by group or others, owned by
  // another account, or a symbolic link); KS_ERR_RESERVED_13 for any other store failure;
  // KS_ERR_UNSPECIFIED when a random source fails (nothing is written then). Needs write access
  // to the machine store.
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
  // EncryptBySSV_Bin is EncryptBySSV with the binary form as output.
  static PxaResult EncryptBySSV_Bin(const std::vector<std::string>& groupSecrets, const SecureBlock& plain,
                                    std::string& cipherText);

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

  std::string componentId_;
  SecureBlock shareStore_;
  std::mutex lock_;
};

}  // namespace QVCryptoService
