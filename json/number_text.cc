#include "json/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace zkJson {
namespace {
// Room for "-18446744073709551615" and for "%.16g" of any double ("-1.234567890123456e-308").
constexpr std::size_t kNumberBuffer = 32;
constexpr int kRealDigits = 16;
}  // namespace

// Integers are formatted by hand: std::to_chars for integers is a template whose out-of-line
// parts would be instantiated, and exported, from the library.
void AppendUnsigned(std::string& out, std::uint64_t value) {
  std::array<char, kNumberBuffer> digits{};
  std::size_t start = digits.size();
  do {
    digits[--start] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  out.append(digits.data() + start, digits.size() - start);
}

void AppendInteger(std::string& out, std::int64_t value) {
  if (value < 0) {
    out.push_back('-');
    // Two's complement negation in unsigned arithmetic also covers INT64_MIN.
    AppendUnsigned(out, ~static_cast<std::uint64_t>(value) + 1);
    return;
  }
  AppendUnsigned(out, static_cast<std::uint64_t>(value));
}

// std::to_chars with a precision is defined as printf in the "C" locale, so a decimal comma
// in the process locale cannot leak into stored records.
void AppendReal(std::string& out, double value) {
  if (std::isnan(value)) {
    out.append("null");
    return;
  }
  if (std::isinf(value)) {
    out.append(value > 0 ? "1e+9999" : "-1e+9999");
    return;
  }
  std::array<char, kNumberBuffer> buffer{};
  const auto result =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general, kRealDigits);
  out.append(buffer.data(), result.ptr);
}

}  // namespace zkJson
