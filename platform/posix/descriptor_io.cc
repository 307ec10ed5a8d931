#include "platform/posix/descriptor_io.h"

#include <unistd.h>

#include <cerrno>

namespace QVCryptoService::platform {

int WriteAllToDescriptor(int descriptor, const std::uint8_t* data, std::size_t size) noexcept {
  std::size_t written = 0;
  while (written < size) {
    const ssize_t count = ::write(descriptor, data + written, size - written);
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return errno;
    }
    if (count == 0) {
      // A regular file never accepts zero bytes of a non-empty write; do not spin on it.
      return EIO;
    }
    written += static_cast<std::size_t>(count);
  }
  return 0;
}

}  // namespace QVCryptoService::platform
