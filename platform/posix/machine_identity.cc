#include "platform/machine_identity.h"

#include "platform/posix/path_trust.h"
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

std::string NotIdentityFile(const std::string& path) { return path + " is not a machine identity file"; }

// ReadIdentityFile reads at most kReadLimit + 1 bytes of `path` into `content`. The file is
// believed only as the library believes what it finds in the machine's state: a regular file
// owned by this account or root and not writable by group or others. A link to it is followed
// (some systems keep the identity behind one) when the link, too, is this account's or root's.
// Returns the problem in one line that starts with the path, or an empty string.
std::string ReadIdentityFile(const std::string& path, std::string& content) {
  struct stat link {};
  if (::lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode) && !IsTrustedOwner(link.st_uid)) {
    return TrustProblem("link " + path, link);
  }
  // O_NONBLOCK keeps a FIFO in the file's place from stalling the open; it is refused below.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    return path + " cannot be read: " + std::strerror(errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return NotIdentityFile(path);
  }
  if (std::string problem = TrustProblem(path, status); !problem.empty()) {
    return problem;
  }
  std::array<char, kReadLimit + 1> buffer{};
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const ssize_t count = ::read(file.get(), buffer.data() + filled, buffer.size() - filled);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return path + " cannot be read: " + std::strerror(errno);
    }
    if (count == 0) {
      break;
    }
    filled += static_cast<std::size_t>(count);
  }
  if (filled > kReadLimit) {
    return NotIdentityFile(path);
  }
  content.assign(buffer.data(), filled);
  return {};
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
  if (std::string problem = ReadIdentityFile(path, content); !problem.empty()) {
    return {{}, std::move(problem)};
  }
  const std::string_view identity = Trimmed(content);
  if (!IsIdentity(identity)) {
    return {{}, path + " is not 32 hex digits"};
  }
  return {std::string(identity), {}};
}

}  // namespace QVCryptoService::platform
