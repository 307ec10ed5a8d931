#include "platform/private_file.h"

#include "platform/posix/descriptor_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QVCryptoService::platform {

bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) {
    return false;
  }
  // A file that existed before keeps its mode through O_CREAT; narrow it before writing.
  bool written = ::fchmod(descriptor, 0600) == 0;
  written = written && WriteAllToDescriptor(descriptor, data.data(), data.size()) == 0;
  const bool closed = ::close(descriptor) == 0;
  return written && closed;
}

}  // namespace QVCryptoService::platform
