#include <qvcryptoservice/result.h>

#include "frame/result_table.h"

#include <openssl/err.h>

#include <array>

namespace QVCryptoService {

std::string PxaErrorReason(PxaResult result) {
  const auto family = static_cast<std::uint32_t>(result >> 32);
  switch (family) {
    case PXA_FAMILY_OPENSSL: {
      std::array<char, 1024> text{};
      ERR_error_string_n(static_cast<std::uint32_t>(result), text.data(), text.size());
      return std::string(text.data());
    }
    case PXA_FAMILY_KEYSTORE:
    case PXA_FAMILY_LIBRARY:
      if (const ResultCodeEntry* entry = FindResultCode(result); entry != nullptr) {
        return std::string(entry->message);
      }
      return family == PXA_FAMILY_KEYSTORE ? "KEYSTORE undefined error" : "PXA undefined error";
    default:
      return "undefined error";
  }
}

}  // namespace QVCryptoService
