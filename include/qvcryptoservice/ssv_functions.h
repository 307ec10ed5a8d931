#pragma once

// One-call encryption under this machine's SSV key (AES-256-CBC). The binary form is the 16-byte
// IV followed by the cipher text; the text form is its base64. Data encrypted here decrypts only
// where the same SSV record is stored.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <string>

namespace QVCryptoService {

// EncryptWithSSV returns 0 and the text form; PXA_ERR_SSV_FILE when the machine has no usable
// SSV; or an OpenSSL-family value.
QVCS_EXPORT PxaResult EncryptWithSSV(const std::string& plain, std::string& cipherText);
// EncryptWithSSV_Bin returns the binary form instead.
QVCS_EXPORT PxaResult EncryptWithSSV_Bin(const std::string& plain, std::string& cipherText);
// DecryptWithSSV reverses EncryptWithSSV: PXA_ERR_SSV_FILE without a usable SSV (checked first),
// PXA_ERR_INVALID_ARGUMENTS for input shorter than an IV, or an OpenSSL-family value for a wrong
// key or damaged data. `plain` is untouched on failure.
QVCS_EXPORT PxaResult DecryptWithSSV(const std::string& cipherText, SecureBlock& plain);
// DecryptWithSSV_Bin reverses EncryptWithSSV_Bin.
QVCS_EXPORT PxaResult DecryptWithSSV_Bin(const std::string& cipherText, SecureBlock& plain);

}  // namespace QVCryptoService
