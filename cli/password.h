#pragma once

#include "cli/arguments.h"

#include <qvcryptoservice/secure_block.h>

namespace qvcrypto {

// ReadPasswordFile returns the first line of the file at `path` (without its line end), read
// straight into locked memory. Usage error when the file cannot be read.
QVCryptoService::SecureBlock ReadPasswordFile(const std::string& path);

// HasPasswordOption is true when the command line names a password source.
bool HasPasswordOption(const Invocation& invocation);

// ReadPassword returns the password from --password-file (its first line), --password-env, or a
// prompt on the terminal (--password-prompt, or when no source is named). Usage error when the
// file cannot be read, the variable is unset, there is no terminal, or the password is empty or
// holds a zero byte (the library would cut it there).
QVCryptoService::SecureBlock ReadPassword(const Invocation& invocation);

}  // namespace qvcrypto
