#pragma once

#include <qvcryptoservice/secure_block.h>

#include <string>
#include <vector>

namespace QVCryptoService {

// DeduceSsvKey folds the group secrets and then the fixed 32-byte key text together by XOR,
// starting from the first secret, whose length the key takes; a later element shorter than that
// contributes only its own bytes. With no secrets the key is the key text itself. It cannot fail.
SecureBlock DeduceSsvKey(const std::vector<std::string>& groupSecrets);

}  // namespace QVCryptoService
