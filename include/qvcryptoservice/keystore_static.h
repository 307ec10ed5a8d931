#pragma once

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/qvcs_export.h>

namespace QVCryptoService {

// QVKeystoreStatic is the built-in keystore. It serves one fixed 32-byte key under the names
// "QV_ENCYPT_DECRYPT_0" (aes-256-cbc) and "QV_HMAC_INTEGRITY_0" (sha256) and supports nothing
// else. The key is compiled into the library: fine for tests and demonstrations, no protection
// for real secrets. Data encrypted with it stays readable by every version of the library.
class QVCS_EXPORT QVKeystoreStatic : public IQVKeyStore {
 public:
  std::string getPluginName() override;
  std::string getPluginDescription() override;
  // initialize and re_sync ignore their input and return KS_SUCCESS.
  std::int32_t initialize(const zkJson::Value& config) override;
  // refreshKeys returns KS_ERR_NOT_SUPPORTED: there is nothing to refresh, so callers need not retry.
  std::int32_t refreshKeys(bool versionMissing) override;
  // createKey, createKeyPair, destroyKey, listKeys and reKey return KS_ERR_NOT_SUPPORTED and
  // change nothing.
  std::int32_t createKey(const std::string& name, const QVKeyControlData* ctl = nullptr) override;
  std::int32_t createKeyPair(const std::string& name, const QVKeyControlData* ctl = nullptr) override;
  std::int32_t destroyKey(const std::string& name, std::int32_t version) override;
  // getKey serves the static key for the two names above, whatever the version; any other name
  // gives KS_ERR_KEY_NOT_FOUND with `key` and `ctl` untouched.
  std::int32_t getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl, std::int32_t version) override;
  std::int32_t listKeys(bool flag, std::vector<QVKeyListEntry>& keys) override;
  std::int32_t reKey(const std::string& name) override;
  std::int32_t re_sync() override;

  // updateKey and updateKeyMeta return KS_ERR_NOT_SUPPORTED and change nothing.
  std::int32_t updateKey(const std::string& name, std::int32_t version, SecureBlock& key);
  std::int32_t updateKeyMeta(const std::string& name, std::int32_t version, QVKeyControlData& ctl);
};

}  // namespace QVCryptoService
