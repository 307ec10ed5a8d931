#include "encryption/key_retrieval.h"

#include "encryption/cipher_steps.h"
#include "frame/result_compose.h"

#include <vector>

namespace QVCryptoService {
std::int32_t FetchKeyWithRefresh(IQVKeyStore& store, const std::string& keyName, SecureBlock& key,
                                 QVKeyControlData& ctl, std::int32_t version) {
  const std::int32_t first = store.getKey(keyName, key, ctl, version);
  if (first != KS_ERR_KEY_NOT_FOUND && first != KS_ERR_KEY_VERSION_NOT_FOUND) {
    return first;
  }
  if (store.refreshKeys(first == KS_ERR_KEY_VERSION_NOT_FOUND) != KS_SUCCESS) {
    return first;
  }
  return store.getKey(keyName, key, ctl, version);
}

PxaResult FetchKeyToEncrypt(CQVKeystoreMgr& keystores, const std::string& keystoreName, const std::string& cipherName,
                            const std::string& keyName, SecureBlock& key, QVKeyControlData& ctl) {
  const std::shared_ptr<IQVKeyStore> store =
      keystores.GetKeystore(keystoreName.empty() ? std::string(kDefaultKeystoreName) : keystoreName);
  if (!store) {
    return kKeystoreMissingResult;
  }
  if (const std::int32_t code = FetchKeyWithRefresh(*store, keyName, key, ctl, 0); code != KS_SUCCESS) {
    return KeystoreResult(code);
  }
  if (ctl.state != QV_KEY_ACTIVE) {
    return PXA_ERR_KEY_NOT_ACTIVE;
  }
  return KeyFitsCipher(cipherName, key, ctl);
}

PxaResult FetchKeyToDecrypt(CQVKeystoreMgr& keystores, const std::string& cipherName, const std::string& keyName,
                            const CipherMeta_t& meta, SecureBlock& key) {
  if (meta.cipherName != cipherName || meta.keyName != keyName || meta.iv.empty()) {
    return PXA_ERR_META_INCOMPATIBLE;
  }
  const std::vector<std::string> names = keystores.GetKeystoreNames();
  if (names.empty()) {
    return kKeystoreMissingResult;
  }
  QVKeyControlData ctl;
  PxaResult lastFailure = kKeystoreMissingResult;
  bool found = false;
  for (const std::string& name : names) {
    const std::shared_ptr<IQVKeyStore> store = keystores.GetKeystore(name);
    if (!store) {
      lastFailure = kKeystoreMissingResult;
      continue;
    }
    const std::int32_t code = FetchKeyWithRefresh(*store, keyName, key, ctl, meta.keyVersion);
    if (code == KS_SUCCESS) {
      found = true;
      break;
    }
    if (name == kDefaultKeystoreName || code != KS_ERR_CORRUPTED) {
      return KeystoreResult(code);
    }
    lastFailure = KeystoreResult(code);
  }
  if (!found) {
    return lastFailure;
  }
  return KeyFitsCipher(cipherName, key, ctl);
}

}  // namespace QVCryptoService
