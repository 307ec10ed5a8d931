#include "encryption/key_retrieval.h"

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

}  // namespace QVCryptoService
