#pragma once

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// FetchKeyWithRefresh asks `store` for a key; when the key or its version is missing it lets the
// keystore refresh once (flag true for a missing version) and asks once more. Returns the
// keystore's final code.
std::int32_t FetchKeyWithRefresh(IQVKeyStore& store, const std::string& keyName, SecureBlock& key,
                                 QVKeyControlData& ctl, std::int32_t version);

// FetchKeyToEncrypt gives the current version of `keyName` in the keystore `keystoreName`
// ("ZKSystem" when empty): refused unless the key is active and made for `cipherName`.
PxaResult FetchKeyToEncrypt(CQVKeystoreMgr& keystores, const std::string& keystoreName, const std::string& cipherName,
                            const std::string& keyName, SecureBlock& key, QVKeyControlData& ctl);

// FetchKeyToDecrypt refuses a record that is not for `cipherName` and `keyName` or has no IV
// (PXA_ERR_META_INCOMPATIBLE), then finds the key version it names, searching the keystores the manager
// lists (only "corrupted" from a keystore other than the default lets the search go on), and
// checks that it fits `cipherName`. The key's state is not checked: retired keys still decrypt
// what they encrypted.
PxaResult FetchKeyToDecrypt(CQVKeystoreMgr& keystores, const std::string& cipherName, const std::string& keyName,
                            const CipherMeta_t& meta, SecureBlock& key);

}  // namespace QVCryptoService
