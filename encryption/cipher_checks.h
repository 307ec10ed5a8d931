#pragma once

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/result.h>

#include <openssl/evp.h>

#include <string>

namespace QVCryptoService {

// KeyFitsCipher checks a keystore key against the cipher it is about to be used with: the key
// must have been made for this cipher, the cipher must be known, and the key's real length,
// its recorded length and the cipher's key length must agree. Returns 0 or the refusal.
PxaResult KeyFitsCipher(const std::string& cipherName, const SecureBlock& key, const QVKeyControlData& ctl);

// CipherKeyLength returns the named cipher's key length, or -1 when the cipher is unknown.
int CipherKeyLength(const std::string& cipherName);

// CipherIvLength returns the named cipher's IV length, or -1 when the cipher is unknown.
int CipherIvLength(const std::string& cipherName);

}  // namespace QVCryptoService
