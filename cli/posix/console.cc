#include "cli/console.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace qvcrypto::console {

namespace {

// What an interrupt during the prompt needs to put the terminal back before the process dies.
volatile sig_atomic_t g_promptDescriptor = -1;
termios g_promptSaved{};

extern "C" void RestoreTerminalAndReraise(int signalNumber) {
  if (g_promptDescriptor >= 0) {
    (void)::tcsetattr(g_promptDescriptor, TCSAFLUSH, &g_promptSaved);
  }
  (void)::signal(signalNumber, SIG_DFL);
  (void)::raise(signalNumber);
}

// Closes the terminal and puts its echo back however the read ends.
class TerminalSession {
 public:
  TerminalSession() : descriptor_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
    if (descriptor_ >= 0 && ::tcgetattr(descriptor_, &saved_) == 0) {
      termios quiet = saved_;
      quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
      quiet.c_lflag |= static_cast<tcflag_t>(ECHONL);
      g_promptSaved = saved_;
      g_promptDescriptor = descriptor_;
      for (const int signalNumber : kInterrupts) {
        (void)::sigaction(signalNumber, nullptr, &previous_[index(signalNumber)]);
        struct sigaction restoring {};
        restoring.sa_handler = RestoreTerminalAndReraise;
        (void)::sigaction(signalNumber, &restoring, nullptr);
      }
      restore_ = ::tcsetattr(descriptor_, TCSAFLUSH, &quiet) == 0;
    }
  }
  TerminalSession(const TerminalSession&) = delete;
  TerminalSession& operator=(const TerminalSession&) = delete;
  ~TerminalSession() {
    if (restore_) {
      (void)::tcsetattr(descriptor_, TCSAFLUSH, &saved_);
    }
    if (g_promptDescriptor == descriptor_ && descriptor_ >= 0) {
      for (const int signalNumber : kInterrupts) {
        (void)::sigaction(signalNumber, &previous_[index(signalNumber)], nullptr);
      }
      g_promptDescriptor = -1;
    }
    if (descriptor_ >= 0) {
      (void)::close(descriptor_);
    }
  }
  bool usable() const { return restore_; }
  int descriptor() const { return descriptor_; }

 private:
  static constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGQUIT, SIGHUP};
  static std::size_t index(int signalNumber) {
    std::size_t position = 0;
    while (kInterrupts[position] != signalNumber) {
      ++position;
    }
    return position;
  }

  int descriptor_;
  termios saved_{};
  std::array<struct sigaction, 4> previous_{};
  bool restore_ = false;
};

}  // namespace

void UseBinaryStandardStreams() {}

bool WriteToStandardOutput(const std::uint8_t* data, std::size_t length) {
  // One write may take less than asked (a pipe, a signal); the rest follows.
  constexpr std::size_t kMaxChunk = 1U << 30;
  while (length > 0) {
    const ssize_t written = ::write(STDOUT_FILENO, data, std::min(length, kMaxChunk));
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return false;
    }
    data += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

std::optional<std::uint64_t> StandardInputFileSize() {
  struct stat status {};
  if (::fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  const off_t position = ::lseek(STDIN_FILENO, 0, SEEK_CUR);
  if (position < 0 || position > status.st_size) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(status.st_size - position);
}

bool ReadPasswordWithoutEcho(const std::string& prompt, QVCryptoService::SecureBlock& password) {
  password.clear();
  const TerminalSession terminal;
  if (!terminal.usable()) {
    return false;
  }
  // The prompt is a courtesy: a terminal that takes no output may still give the password.
  if (::write(terminal.descriptor(), prompt.data(), prompt.size()) < 0) {
    errno = 0;
  }
  unsigned char byte = 0;
  while (::read(terminal.descriptor(), &byte, 1) == 1 && byte != '\n') {
    password.push_back(byte);
  }
  byte = 0;
  if (!password.empty() && password.back() == '\r') {
    password.pop_back();
  }
  return true;
}

bool SetEnvironment(const std::string& name, const std::string& value) {
  return ::setenv(name.c_str(), value.c_str(), 1) == 0;
}

bool MachineRootSupported() { return true; }

}  // namespace qvcrypto::console
