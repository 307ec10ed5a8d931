#pragma once

// Every library and keystore code with its constant's name and its message. PxaErrorReason's
// messages and the names that the tool shows both come from here.

#include <qvcryptoservice/result.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QVCryptoService {

struct ResultCodeEntry {
  std::uint32_t code;
  std::string_view name;
  std::string_view message;
};

// An entry's name is its constant's own spelling, so the two cannot drift apart.
#define QVCS_RESULT_CODE(constant, message) \
  ResultCodeEntry { static_cast<std::uint32_t>(constant), #constant, message }

// Library codes (family 0), indexed by code. Code 11's message has no "PXA " prefix; that is
// deliberate and kept for compatibility.
inline constexpr std::array kLibraryCodes = {
    QVCS_RESULT_CODE(PXA_OK, "PXA succeed with no error"),
    QVCS_RESULT_CODE(PXA_ERR_UNSPECIFIED, "PXA unspecified error"),
    QVCS_RESULT_CODE(PXA_ERR_INVALID_ARGUMENTS, "PXA invalid API arguments"),
    QVCS_RESULT_CODE(PXA_ERR_UNSUPPORTED_CIPHER, "PXA unsupported cipher algorithm name"),
    QVCS_RESULT_CODE(PXA_ERR_UNSUPPORTED_DIGEST, "PXA unsupported digest algorithm name"),
    QVCS_RESULT_CODE(PXA_ERR_CORRUPTED_DATA, "PXA corrupted data"),
    QVCS_RESULT_CODE(PXA_ERR_META_INCOMPATIBLE, "PXA meta data fields incompatible with crypto function"),
    QVCS_RESULT_CODE(PXA_ERR_INVALID_IV_LEN, "PXA invalid IV length"),
    QVCS_RESULT_CODE(PXA_ERR_MISMATCHED_KEY, "PXA mismatched key"),
    QVCS_RESULT_CODE(PXA_ERR_KEY_NOT_ACTIVE, "PXA key not active"),
    QVCS_RESULT_CODE(PXA_ERR_KEY_EXPIRED, "PXA key expired"),
    QVCS_RESULT_CODE(PXA_ERR_SSV_FILE, "SSV file not found or corrupted"),
};

// The one library code outside that run: the 32-bit all-ones code.
inline constexpr ResultCodeEntry kKeystoreNotConfiguredCode =
    QVCS_RESULT_CODE(PXA_ERR_KEYSTORE_NOT_CONFIGURED, "PXA keystore not configured");

// Keystore codes (family 1), indexed by code. The asymmetries (12, 13 and 19 alike; 18
// "undefined"; 15 without prefix) are deliberate.
inline constexpr std::array kKeystoreCodes = {
    QVCS_RESULT_CODE(KS_SUCCESS, "KEYSTORE succeed with no error"),
    QVCS_RESULT_CODE(KS_ERR_DATABASE, "KEYSTORE operation failure due to database error"),
    QVCS_RESULT_CODE(KS_ERR_BAD_MAP, "KEYSTORE operation failure due to wrong MAP"),
    QVCS_RESULT_CODE(KS_ERR_KEY_EXISTS, "KEYSTORE key already exists"),
    QVCS_RESULT_CODE(KS_ERR_KEY_NOT_FOUND, "KEYSTORE key not found"),
    QVCS_RESULT_CODE(KS_ERR_KEY_VERSION_EXISTS, "KEYSTORE key version already exists"),
    QVCS_RESULT_CODE(KS_ERR_KEY_VERSION_NOT_FOUND, "KEYSTORE key version not found"),
    QVCS_RESULT_CODE(KS_ERR_ACTIVE_VERSION_EXISTS, "KEYSTORE active key version already exists"),
    QVCS_RESULT_CODE(KS_ERR_BAD_MAK, "KEYSTORE init failure due to wrong MAK"),
    QVCS_RESULT_CODE(KS_ERR_BAD_COMPONENT_ID, "KEYSTORE init failure due to wrong component id"),
    QVCS_RESULT_CODE(KS_ERR_SSV_NOT_INITIALIZED, "KEYSTORE init failure due to SSV not initialized"),
    QVCS_RESULT_CODE(KS_ERR_INVALID_SSV_DATA, "KEYSTORE init failure due to invalid SSV data"),
    QVCS_RESULT_CODE(KS_ERR_UNSPECIFIED, "KEYSTORE unspecified error"),
    QVCS_RESULT_CODE(KS_ERR_RESERVED_13, "KEYSTORE unspecified error"),
    QVCS_RESULT_CODE(KS_ERR_NO_SSV_PERMISSION, "KEYSTORE init failure due to no permission to read SSV data"),
    QVCS_RESULT_CODE(KS_ERR_CORRUPTED, "Corrupted keystore data"),
    QVCS_RESULT_CODE(KS_ERR_NOT_SUPPORTED, "KEYSTORE operation not supported by the keystore"),
    QVCS_RESULT_CODE(KS_ERR_INVALID_PARAMETERS, "KEYSTORE invalid parameters provided for the operation"),
    QVCS_RESULT_CODE(KS_ERR_RESERVED_18, "KEYSTORE undefined error"),
    QVCS_RESULT_CODE(KS_ERR_RESERVED_19, "KEYSTORE unspecified error"),
};

#undef QVCS_RESULT_CODE

template <std::size_t Size>
constexpr bool IndexedByCode(const std::array<ResultCodeEntry, Size>& table) {
  for (std::size_t index = 0; index < Size; ++index) {
    if (table[index].code != index) {
      return false;
    }
  }
  return true;
}
static_assert(IndexedByCode(kLibraryCodes));
static_assert(IndexedByCode(kKeystoreCodes));

// FindResultCode returns the entry of a library or keystore result value, or nullptr when the
// value's family has no such code (and for every other family).
constexpr const ResultCodeEntry* FindResultCode(PxaResult result) {
  const auto family = static_cast<std::uint32_t>(result >> 32);
  const auto code = static_cast<std::uint32_t>(result);
  if (family == PXA_FAMILY_LIBRARY) {
    if (code < kLibraryCodes.size()) {
      return &kLibraryCodes[code];
    }
    return code == kKeystoreNotConfiguredCode.code ? &kKeystoreNotConfiguredCode : nullptr;
  }
  if (family == PXA_FAMILY_KEYSTORE && code < kKeystoreCodes.size()) {
    return &kKeystoreCodes[code];
  }
  return nullptr;
}

}  // namespace QVCryptoService
