#pragma once

#include <qvcryptoservice/qvcs_export.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// PxaResult is what every fallible operation returns: zero is success; the high 32 bits name
// the family (PXA_FAMILY_*) and the low 32 bits the code within that family.
using PxaResult = std::uint64_t;

inline constexpr std::uint32_t PXA_FAMILY_LIBRARY = 0;
inline constexpr std::uint32_t PXA_FAMILY_KEYSTORE = 1;
inline constexpr std::uint32_t PXA_FAMILY_OPENSSL = 2;

// Library codes (family 0).
inline constexpr PxaResult PXA_OK = 0;
inline constexpr PxaResult PXA_ERR_UNSPECIFIED = 1;
inline constexpr PxaResult PXA_ERR_INVALID_ARGUMENTS = 2;
inline constexpr PxaResult PXA_ERR_UNSUPPORTED_CIPHER = 3;
inline constexpr PxaResult PXA_ERR_UNSUPPORTED_DIGEST = 4;
inline constexpr PxaResult PXA_ERR_CORRUPTED_DATA = 5;
inline constexpr PxaResult PXA_ERR_META_INCOMPATIBLE = 6;
inline constexpr PxaResult PXA_ERR_INVALID_IV_LEN = 7;
inline constexpr PxaResult PXA_ERR_MISMATCHED_KEY = 8;
inline constexpr PxaResult PXA_ERR_KEY_NOT_ACTIVE = 9;
inline constexpr PxaResult PXA_ERR_KEY_EXPIRED = 10;
inline constexpr PxaResult PXA_ERR_SSV_FILE = 11;
// The 32-bit all-ones code under family 0, not the 64-bit all-ones value.
inline constexpr PxaResult PXA_ERR_KEYSTORE_NOT_CONFIGURED = 0xFFFFFFFFull;

// EQVKeystoreCode: the status a keystore operation returns (and that the SSV store reuses).
// Inside a PxaResult it sits in the low word under PXA_FAMILY_KEYSTORE.
enum EQVKeystoreCode : std::int32_t {
  KS_SUCCESS = 0,
  KS_ERR_DATABASE = 1,
  KS_ERR_BAD_MAP = 2,
  KS_ERR_KEY_EXISTS = 3,
  KS_ERR_KEY_NOT_FOUND = 4,
  KS_ERR_KEY_VERSION_EXISTS = 5,
  KS_ERR_KEY_VERSION_NOT_FOUND = 6,
  KS_ERR_ACTIVE_VERSION_EXISTS = 7,
  KS_ERR_BAD_MAK = 8,
  KS_ERR_BAD_COMPONENT_ID = 9,
  KS_ERR_SSV_NOT_INITIALIZED = 10,
  KS_ERR_INVALID_SSV_DATA = 11,
  KS_ERR_UNSPECIFIED = 12,
  KS_ERR_RESERVED_13 = 13,
  KS_ERR_NO_SSV_PERMISSION = 14,
  KS_ERR_CORRUPTED = 15,
  KS_ERR_NOT_SUPPORTED = 16,
  KS_ERR_INVALID_PARAMETERS = 17,
  KS_ERR_RESERVED_18 = 18,
  KS_ERR_RESERVED_19 = 19,
};

// PxaErrorReason returns a one-line English message for any result value. It never fails:
// unknown codes give their family's "undefined" text and unknown families "undefined error";
// OpenSSL results (family 2) give OpenSSL's own error string for the low word.
QVCS_EXPORT std::string PxaErrorReason(PxaResult result);

}  // namespace QVCryptoService
