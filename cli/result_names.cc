#include "cli/result_names.h"

#include "frame/result_table.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace qvcrypto {

using QVCryptoService::PxaResult;

namespace {

// DigitValue is the value of the digit `c` in a run of digits that starts at `first` with
// `firstValue`; `c` is not below `first`.
constexpr std::uint64_t DigitValue(char c, char first, std::uint64_t firstValue) {
  return static_cast<std::uint64_t>(c) - static_cast<std::uint64_t>(first) + firstValue;
}

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
  const QVCryptoService::ResultCodeEntry* entry = QVCryptoService::FindResultCode(result);
  return entry != nullptr ? std::string(entry->name) : std::string();
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
      digit = DigitValue(c, '0', 0);
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = DigitValue(c, 'a', 10);
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = DigitValue(c, 'A', 10);
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
