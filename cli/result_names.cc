#include "cli/result_names.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
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

bool ParseResultValue(const std::string& text, PxaResult& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::uint64_t base = hex ? 16 : 10;
  const std::size_t start = hex ? 2 : 0;
  if (text.size() == start) {
    return false;
  }
  std::uint64_t result = 0;
  for (std::size_t index = start; index < text.size(); ++index) {
    const char c = text[index];
    std::uint64_t digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<std::uint64_t>(c - '0');
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = static_cast<std::uint64_t>(c - 'a' + 10);
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = static_cast<std::uint64_t>(c - 'A' + 10);
    } else {
      return false;
    }
    if (result > (std::numeric_limits<std::uint64_t>::max() - digit) / base) {
      return false;
    }
    result = result * base + digit;
  }
  value = result;
  return true;
}

}  // namespace qvcrypto
