#pragma once

// The white space around a text, which the upgrade check and the tool take off before reading it.

#include <cstddef>
#include <string_view>

namespace QVCryptoService {

// What std::isspace calls white space in the "C" locale.
inline constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// WithoutSurroundingSpace returns `text` without the white space at either end.
constexpr std::string_view WithoutSurroundingSpace(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace QVCryptoService
