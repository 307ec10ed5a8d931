#pragma once

// How producers build result values. Keystore and OpenSSL codes are sign-extended from 32 bits
// before the family tag is OR-ed in; an OpenSSL code with bit 31 set therefore lands in a family
// that reports "undefined error". That is deliberate and kept for compatibility of logged values.

#include <qvcryptoservice/result.h>

#include <openssl/err.h>

#include <cstdint>

namespace QVCryptoService {

inline constexpr PxaResult kKeystoreFamilyBit = PxaResult{PXA_FAMILY_KEYSTORE} << 32;
inline constexpr PxaResult kOpenSslFamilyBit = PxaResult{PXA_FAMILY_OPENSSL} << 32;

// What the keystore-based engines return when the keystore they need is not registered: all 64
// bits set, not PXA_ERR_KEYSTORE_NOT_CONFIGURED. Deliberate and kept for compatibility; the
// message for it is "undefined error".
inline constexpr PxaResult kKeystoreMissingResult = ~PxaResult{0};

constexpr PxaResult SignExtend32(std::uint32_t code) {
  return static_cast<PxaResult>(static_cast<std::int64_t>(static_cast<std::int32_t>(code)));
}

// KeystoreResult wraps a keystore status; success (0) stays 0.
constexpr PxaResult KeystoreResult(std::int32_t keystoreCode) {
  if (keystoreCode == KS_SUCCESS) {
    return PXA_OK;
  }
  return SignExtend32(static_cast<std::uint32_t>(keystoreCode)) | kKeystoreFamilyBit;
}

constexpr PxaResult OpenSslResult(unsigned long openSslCode) {
  return SignExtend32(static_cast<std::uint32_t>(openSslCode)) | kOpenSslFamilyBit;
}

// LastOpenSslResult takes the oldest queued OpenSSL error; call it right after the failing call.
inline PxaResult LastOpenSslResult() { return OpenSslResult(ERR_get_error()); }

}  // namespace QVCryptoService
