#include <qvcryptoservice/result.h>

#include <openssl/err.h>

#include <array>
#include <string_view>

namespace QVCryptoService {
namespace {

// Indexed by code + 1, so that the 32-bit all-ones code comes first. Code 11 has no "PXA "
// prefix; that is deliberate and kept for compatibility.
constexpr std::array<std::string_view, 13> kLibraryMessages = {
    "PXA keystore not configured",
    "PXA succeed with no error",
    "PXA unspecified error",
    "PXA invalid API arguments",
    "PXA unsupported cipher algorithm name",
    "PXA unsupported digest algorithm name",
    "PXA corrupted data",
    "PXA meta data fields incompatible with crypto function",
    "PXA invalid IV length",
    "PXA mismatched key",
    "PXA key not active",
    "PXA key expired",
    "SSV file not found or corrupted",
};

// The asymmetries (12, 13 and 19 alike; 18 "undefined"; 15 without prefix) are deliberate.
constexpr std::array<std::string_view, 20> kKeystoreMessages = {
    "KEYSTORE succeed with no error",
    "KEYSTORE operation failure due to database error",
    "KEYSTORE operation failure due to wrong MAP",
    "KEYSTORE key already exists",
    "KEYSTORE key not found",
    "KEYSTORE key version already exists",
    "KEYSTORE key version not found",
    "KEYSTORE active key version already exists",
    "KEYSTORE init failure due to wrong MAK",
    "KEYSTORE init failure due to wrong component id",
    "KEYSTORE init failure due to SSV not initialized",
    "KEYSTORE init failure due to invalid SSV data",
    "KEYSTORE unspecified error",
    "KEYSTORE unspecified error",
    "KEYSTORE init failure due to no permission to read SSV data",
    "Corrupted keystore data",
    "KEYSTORE operation not supported by the keystore",
    "KEYSTORE invalid parameters provided for the operation",
    "KEYSTORE undefined error",
    "KEYSTORE unspecified error",
};

}  // namespace

std::string PxaErrorReason(PxaResult result) {
  const auto family = static_cast<std::uint32_t>(result >> 32);
  const auto code = static_cast<std::uint32_t>(result);
  switch (family) {
    case PXA_FAMILY_OPENSSL: {
      std::array<char, 1024> text{};
      ERR_error_string_n(code, text.data(), text.size());
      return std::string(text.data());
    }
    case PXA_FAMILY_KEYSTORE:
      if (code < kKeystoreMessages.size()) {
        return std::string(kKeystoreMessages[code]);
      }
      return "KEYSTORE undefined error";
    case PXA_FAMILY_LIBRARY: {
      const std::uint32_t index = code + 1U;  // wraps the all-ones code to 0
      if (index < kLibraryMessages.size()) {
        return std::string(kLibraryMessages[index]);
      }
      return "PXA undefined error";
    }
    default:
      return "undefined error";
  }
}

}  // namespace QVCryptoService
