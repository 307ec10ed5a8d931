#pragma once

// Standard input and output for commands: whole, binary-safe, and with errors reported as
// ToolError instead of half-written output.

#include <qvcryptoservice/secure_block.h>

#include "primitives/secret_string.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qvcrypto {

// ReadStandardInput returns everything on standard input, in wiped storage.
QVCryptoService::SecureBlock ReadStandardInput();

// ReadTextArgument returns the text given as the command's argument, or else read from
// standard input, without surrounding white space. Usage error when it is empty.
std::string ReadTextArgument(const std::string* argument, std::string_view what);

// WriteStandardOutput writes and flushes; a failed write ends the command (exit 3). The bytes
// (decrypted text, derived keys) go to the descriptor directly, never through stdio's buffer,
// which is ordinary heap that nobody wipes.
void WriteStandardOutput(const std::uint8_t* data, std::size_t length);
void WriteStandardOutput(std::string_view text);

// Trim removes white space (including line ends) from both ends.
std::string Trim(std::string_view text);

// SecretString is a std::string copy of a secret for the library calls that take one; the
// characters are wiped when it goes away.
class SecretString {
 public:
  explicit SecretString(const QVCryptoService::SecureBlock& secret);
  SecretString(const SecretString&) = delete;
  SecretString& operator=(const SecretString&) = delete;
  ~SecretString();
  const std::string& str() const { return text_; }

 private:
  std::string text_;
};

// WipeString overwrites and empties a string that held a secret: the library's own.
using QVCryptoService::WipeString;

}  // namespace qvcrypto
