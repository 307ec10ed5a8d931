#include "cli/result_names.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace qvcrypto {

using QVCryptoService::PxaResult;

namespace {

constexpr std::array<std::string_view, 12> kLibraryNames = {
    "PXA_OK",
    "PXA_ERR_UNSPECIFIED",
    "PXA_ERR_INVALID_ARGUMENTS",
    "PXA_ERR_UNSUPPORTED_CIPHER",
    "PXA_ERR_UNSUPPORTED_DIGEST",
    "PXA_ERR_CORRUPTED_DATA",
    "PXA_ERR_META_INCOMPATIBLE",
    "PXA_ERR_INVALID_IV_LEN",
    "PXA_ERR_MISMATCHED_KEY",
    "PXA_ERR_KEY_NOT_ACTIVE",
    "PXA_ERR_KEY_EXPIRED",
    "PXA_ERR_SSV_FILE",
};

constexpr std::array<std::string_view, 20> kKeystoreNames = {
    "KS_SUCCESS",
    "KS_ERR_DATABASE",
    "KS_ERR_BAD_MAP",
    "KS_ERR_KEY_EXISTS",
    "KS_ERR_KEY_NOT_FOUND",
    "KS_ERR_KEY_VERSION_EXISTS",
    "KS_ERR_KEY_VERSION_NOT_FOUND",
    "KS_ERR_ACTIVE_VERSION_EXISTS",
    "KS_ERR_BAD_MAK",
    "KS_ERR_BAD_COMPONENT_ID",
    "KS_ERR_SSV_NOT_INITIALIZED",
    "KS_ERR_INVALID_SSV_DATA",
    "KS_ERR_UNSPECIFIED",
    "KS_ERR_RESERVED_13",
    "KS_ERR_NO_SSV_PERMISSION",
    "KS_ERR_CORRUPTED",
    "KS_ERR_NOT_SUPPORTED",
    "KS_ERR_INVALID_PARAMETERS",
    "KS_ERR_RESERVED_18",
    "KS_ERR_RESERVED_19",
};

}  // namespace

std::string FamilyName(PxaResult result) {
  switch (result >> 32) {
    case QVCryptoService::PXA_FAMILY_LIBRARY:
      return "library";
    case QVCryptoService::PXA_FAMILY_KEYSTORE:
      return "keystore";
    case QVCryptoService::PXA_FAMILY_OPENSSL:
      return "OpenSSL";
    default:
      return "none";
  }
}

std::string CodeName(PxaResult result) {
  const std::uint64_t family = result >> 32;
  const std::uint64_t code = result & 0xFFFFFFFFull;
  if (family == QVCryptoService::PXA_FAMILY_LIBRARY) {
    if (code < kLibraryNames.size()) {
      return std::string(kLibraryNames[code]);
    }
    return code == QVCryptoService::PXA_ERR_KEYSTORE_NOT_CONFIGURED ? "PXA_ERR_KEYSTORE_NOT_CONFIGURED" : "";
  }
  if (family == QVCryptoService::PXA_FAMILY_KEYSTORE && code < kKeystoreNames.size()) {
    return std::string(kKeystoreNames[code]);
  }
  return "";
}

std::string Hex(PxaResult result) {
  std::array<char, 24> text{};
  (void)std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(result));
  return text.data();
}

}  // namespace qvcrypto
