#pragma once

#include <qvcryptoservice/keystore.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// FetchKeyWithRefresh asks `store` for a key; when the key or its version is missing it lets the
// keystore refresh once (flag true for a missing version) and asks once more. Returns the
// keystore's final code.
std::int32_t FetchKeyWithRefresh(IQVKeyStore& store, const std::string& keyName, SecureBlock& key,
                                 QVKeyControlData& ctl, std::int32_t version);

}  // namespace QVCryptoService
