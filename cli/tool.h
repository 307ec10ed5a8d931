#pragma once

// What every command of qvcrypto shares: exit codes and the way a command gives up.

// Commands report keystore statuses as the library would hand them up: KeystoreResult.
#include "frame/result_compose.h"

#include <qvcryptoservice/result.h>

#include <stdexcept>
#include <string>

namespace qvcrypto {

// The documented exit codes of every command.
enum ExitCode : int {
  kExitOk = 0,
  kExitFalse = 1,   // a verification ran and answered false
  kExitUsage = 2,   // the command line is wrong or names something that is not there
  kExitFailed = 3,  // an operation failed
};

// ToolError ends a command: main prints its message on one line of standard error and exits
// with its code. Commands throw it before writing anything to standard output.
class ToolError : public std::runtime_error {
 public:
  ToolError(int exitCode, const std::string& message) : std::runtime_error(message), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

[[noreturn]] inline void Usage(const std::string& message) { throw ToolError(kExitUsage, message); }
[[noreturn]] inline void Failed(const std::string& message) { throw ToolError(kExitFailed, message); }

// FailedResult reports a library result value: its message, the value in hex, and a hint when
// the value has a usual cause.
[[noreturn]] void FailedResult(const std::string& operation, QVCryptoService::PxaResult result);

}  // namespace qvcrypto
