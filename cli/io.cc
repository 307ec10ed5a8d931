#include "cli/io.h"

#include "cli/console.h"
#include "cli/tool.h"
#include "primitives/white_space.h"

#include <openssl/crypto.h>

#include <array>
#include <cstdio>

namespace qvcrypto {

using QVCryptoService::SecureBlock;

QVCryptoService::SecureBlock ReadStandardInput() {
  SecureBlock data;
  std::array<std::uint8_t, 65536> chunk{};
  for (;;) {
    const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), stdin);
    data.insert(data.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
    if (count < chunk.size()) {
      break;
    }
  }
  OPENSSL_cleanse(chunk.data(), chunk.size());
  if (std::ferror(stdin) != 0) {
    Failed("cannot read standard input");
  }
  return data;
}

std::string ReadTextArgument(const std::string* argument, std::string_view what) {
  std::string text;
  if (argument != nullptr) {
    text = Trim(*argument);
  } else {
    const SecureBlock input = ReadStandardInput();
    text = Trim(std::string_view(reinterpret_cast<const char*>(input.data()), input.size()));
  }
  if (text.empty()) {
    Usage("no " + std::string(what) + " given (as argument or on standard input)");
  }
  return text;
}

void WriteStandardOutput(const std::uint8_t* data, std::size_t length) {
  // What others wrote through stdio goes first, so the order on the stream stays as written.
  if (std::fflush(stdout) != 0 || !console::WriteToStandardOutput(data, length)) {
    Failed("cannot write to standard output");
  }
}

void WriteStandardOutput(std::string_view text) {
  WriteStandardOutput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

std::string Trim(std::string_view text) { return std::string(QVCryptoService::WithoutSurroundingSpace(text)); }

SecretString::SecretString(const SecureBlock& secret) : text_(secret.begin(), secret.end()) {}

SecretString::~SecretString() { WipeString(text_); }

}  // namespace qvcrypto
