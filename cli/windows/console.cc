#include "cli/console.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

namespace qvcrypto::console {

namespace {

// Owns a console handle and puts its mode back however the read ends.
class ConsoleSession {
 public:
  ConsoleSession()
      : input_(CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr)) {
    if (input_ != INVALID_HANDLE_VALUE && GetConsoleMode(input_, &saved_) != 0) {
      restore_ = SetConsoleMode(input_, saved_ & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) != 0;
    }
  }
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;
  ~ConsoleSession() {
    if (restore_) {
      (void)SetConsoleMode(input_, saved_);
    }
    if (input_ != INVALID_HANDLE_VALUE) {
      (void)CloseHandle(input_);
    }
  }
  bool usable() const { return restore_; }
  HANDLE input() const { return input_; }

 private:
  HANDLE input_;
  DWORD saved_ = 0;
  bool restore_ = false;
};

}  // namespace

void UseBinaryStandardStreams() {
  (void)_setmode(_fileno(stdin), _O_BINARY);
  (void)_setmode(_fileno(stdout), _O_BINARY);
}

bool WriteToStandardOutput(const std::uint8_t* data, std::size_t length) {
  // _write counts in an unsigned int and may take less than asked; the rest follows.
  constexpr std::size_t kMaxChunk = 1U << 30;
  const int descriptor = _fileno(stdout);
  while (length > 0) {
    const int written = _write(descriptor, data, static_cast<unsigned int>(std::min(length, kMaxChunk)));
    if (written <= 0) {
      return false;
    }
    data += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

std::optional<std::uint64_t> StandardInputFileSize() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (input == nullptr || input == INVALID_HANDLE_VALUE || GetFileType(input) != FILE_TYPE_DISK) {
    return std::nullopt;
  }
  LARGE_INTEGER size{};
  LARGE_INTEGER position{};
  if (GetFileSizeEx(input, &size) == 0 || SetFilePointerEx(input, LARGE_INTEGER{}, &position, FILE_CURRENT) == 0 ||
      position.QuadPart < 0 || position.QuadPart > size.QuadPart) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(size.QuadPart - position.QuadPart);
}

bool ReadPasswordWithoutEcho(const std::string& prompt, QVCryptoService::SecureBlock& password) {
  password.clear();
  const ConsoleSession console;
  if (!console.usable()) {
    return false;
  }
  (void)fputs(prompt.c_str(), stderr);
  char character = 0;
  DWORD read = 0;
  while (ReadConsoleA(console.input(), &character, 1, &read, nullptr) != 0 && read == 1 && character != '\r' &&
         character != '\n') {
    password.push_back(static_cast<unsigned char>(character));
  }
  character = 0;
  (void)fputs("\n", stderr);
  return true;
}

bool SetEnvironment(const std::string& name, const std::string& value) {
  return _putenv_s(name.c_str(), value.c_str()) == 0;
}

bool MachineRootSupported() { return false; }

}  // namespace qvcrypto::console
