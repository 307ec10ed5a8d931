#include "platform/replacement_file.h"

#include "platform/system_random.h"

#include <array>

namespace QVCryptoService::platform {

std::string ReplacementFile::TemporaryPathBeside(const std::string& path) {
  std::array<std::uint8_t, 8> suffix{};
  if (!FillSystemRandom(suffix.data(), suffix.size())) {
    return {};
  }
  constexpr char kHex[] = "0123456789abcdef";
  std::string temporary = path + ".";
  for (const std::uint8_t byte : suffix) {
    temporary += kHex[byte >> 4];
    temporary += kHex[byte & 0x0F];
  }
  return temporary + ".part";
}

}  // namespace QVCryptoService::platform
