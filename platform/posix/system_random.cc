#include "platform/system_random.h"

#include <sys/random.h>

#include <cerrno>

namespace QVCryptoService::platform {

bool FillSystemRandom(std::uint8_t* out, std::size_t size) noexcept {
  std::size_t filled = 0;
  while (filled < size) {
    // getrandom returns at most 32 MiB per call and may be interrupted before the pool is ready.
    const ssize_t count = ::getrandom(out + filled, size - filled, 0);
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    if (count == 0) {
      return false;
    }
    filled += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace QVCryptoService::platform
