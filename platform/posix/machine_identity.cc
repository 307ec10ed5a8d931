#include "platform/machine_identity.h"

#include "platform/system_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace QVCryptoService::platform {

namespace {

constexpr std::size_t kIdentityDigits = 32;
// Far more than an identity and a line break; a longer file is not an identity file.
constexpr std::size_t kReadLimit = 256;

std::string IdentityFile() {
  const char* overridden = std::getenv(kMachineIdFileVariable);
  return overridden != nullptr && overridden[0] != '\0' ? overridden : kDefaultMachineIdFile;
}

class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) {
      (void)::close(descriptor_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

// ReadSmallFile reads at most kReadLimit + 1 bytes of the regular file `path` (a link to one is
// followed: some systems keep the identity behind one). Returns 0 or an errno value; EFBIG for a
// file over the limit and EINVAL for something that is not a regular file.
int ReadSmallFile(const std::string& path, std::string& content) {
  // O_NONBLOCK keeps a FIFO in the file's place from stalling the open; it is refused below.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (file.get() < 0) {
    return errno;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return EINVAL;
  }
  std::array<char, kReadLimit + 1> buffer{};
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const ssize_t count = ::read(file.get(), buffer.data() + filled, buffer.size() - filled);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return errno;
    }
    if (count == 0) {
      break;
    }
    filled += static_cast<std::size_t>(count);
  }
  if (filled > kReadLimit) {
    return EFBIG;
  }
  content.assign(buffer.data(), filled);
  return 0;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsIdentity(std::string_view text) {
  return text.size() == kIdentityDigits && std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
         });
}

}  // namespace

MachineIdentity ReadMachineIdentity() {
  const std::string path = IdentityFile();
  std::string content;
  const int error = ReadSmallFile(path, content);
  if (error == EINVAL || error == EFBIG) {
    return {{}, path + " is not a machine identity file"};
  }
  if (error != 0) {
    return {{}, path + " cannot be read: " + std::strerror(error)};
  }
  const std::string_view identity = Trimmed(content);
  if (!IsIdentity(identity)) {
    return {{}, path + " is not 32 hex digits"};
  }
  return {std::string(identity), {}};
}

}  // namespace QVCryptoService::platform
