#include "platform/replacement_file.h"

#include "platform/system_random.h"
#include "primitives/hex_text.h"

#include <array>

namespace QVCryptoService::platform {

std::string ReplacementFile::TemporaryPathBeside(const std::string& path) {
  std::array<std::uint8_t, 8> suffix{};
  if (!FillSystemRandom(suffix.data(), suffix.size())) {
    return {};
  }
  std::string temporary = path + ".";
  AppendLowerHex(temporary, suffix);
  return temporary + ".part";
}

}  // namespace QVCryptoService::platform
