#include "cli/password.h"

#include "cli/console.h"
#include "cli/tool.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qvcrypto {

using QVCryptoService::SecureBlock;

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

SecureBlock ReadPasswordVariable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) {
    Usage("environment variable " + name + " is not set");
  }
  return SecureBlock(value, value + std::strlen(value));
}

}  // namespace

SecureBlock ReadPasswordFile(const std::string& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    Usage("cannot open password file " + path + ": " + std::strerror(errno));
  }
  // Straight into locked memory: a stdio buffer would keep the password in the heap.
  (void)std::setvbuf(file.get(), nullptr, _IONBF, 0);
  SecureBlock password;
  std::array<std::uint8_t, 4096> chunk{};
  std::size_t count = 0;
  while ((count = std::fread(chunk.data(), 1, chunk.size(), file.get())) != 0) {
    password.insert(password.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
  }
  OPENSSL_cleanse(chunk.data(), chunk.size());
  if (std::ferror(file.get()) != 0) {
    Usage("cannot read password file " + path);
  }
  // Only the first line counts, as with most tools that read password files.
  const auto lineEnd = std::find(password.begin(), password.end(), static_cast<std::uint8_t>('\n'));
  password.erase(lineEnd, password.end());
  if (!password.empty() && password.back() == '\r') {
    password.pop_back();
  }
  return password;
}

bool HasPasswordOption(const Invocation& invocation) {
  return invocation.Value("--password-file") != nullptr || invocation.Value("--password-env") != nullptr ||
         invocation.Has("--password-prompt");
}

SecureBlock ReadPassword(const Invocation& invocation) {
  const std::string* file = invocation.Value("--password-file");
  const std::string* variable = invocation.Value("--password-env");
  const int sources =
      (file != nullptr ? 1 : 0) + (variable != nullptr ? 1 : 0) + (invocation.Has("--password-prompt") ? 1 : 0);
  if (sources > 1) {
    Usage("give only one of --password-file, --password-env and --password-prompt");
  }
  SecureBlock password;
  if (file != nullptr) {
    password = ReadPasswordFile(*file);
  } else if (variable != nullptr) {
    password = ReadPasswordVariable(*variable);
  } else if (!console::ReadPasswordWithoutEcho("Password: ", password)) {
    Usage("no terminal to ask for the password; use --password-file or --password-env");
  }
  if (password.empty()) {
    Usage("the password is empty");
  }
  if (std::find(password.begin(), password.end(), static_cast<std::uint8_t>(0)) != password.end()) {
    Usage("the password holds a zero byte");
  }
  return password;
}

}  // namespace qvcrypto
