#pragma once

// The ciphers and digests the library runs, found by name. A name resolves exactly as OpenSSL's
// name look-up resolves it (the same names and aliases, null for an unknown one), but the
// provider's implementation is fetched once per process and kept, instead of OpenSSL fetching
// it again, under its locks, for every context a call sets up.

#include <openssl/evp.h>

namespace QVCryptoService {

// FindCipher returns the cipher named `name`, or null for a null or unknown name. Safe from any
// thread; never throws.
const EVP_CIPHER* FindCipher(const char* name) noexcept;

// FindDigest returns the digest named `name`, or null for a null or unknown name. Safe from any
// thread; never throws.
const EVP_MD* FindDigest(const char* name) noexcept;

}  // namespace QVCryptoService
