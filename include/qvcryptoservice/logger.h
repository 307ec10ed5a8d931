#pragma once

// The product logger's interface, as the host's logging library offers it. The library ships a
// minimal implementation that writes one line per entry to standard error; a host (or a test)
// installs its own sink with ILogger::SetInstance.

#include <qvcryptoservice/qvcs_export.h>

#include <memory>
#include <string>

#if defined(__GNUC__)
#define QVCS_PRINTF_FORMAT(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define QVCS_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

namespace QVCryptoService {

// ELogLevel is the verbosity of an entry: the lower the number, the more important. The library
// logs its diagnostics at level 3.
enum class ELogLevel : int {
  Always = 0,
  Error = 1,
  Warning = 2,
  Info = 3,
  Debug = 4,
  Trace = 5,
};

// ILogger receives the library's diagnostics. Each entry names its component (for example
// "PXA-SSV") and the qualified name of the function that wrote it.
class QVCS_EXPORT ILogger {
 public:
  virtual ~ILogger();

  // GetInstance returns the sink currently installed: the host's, or the built-in one that
  // writes to standard error. Never null. The pointer keeps the sink alive while the caller
  // uses it, even if another thread installs a new one meanwhile.
  static std::shared_ptr<ILogger> GetInstance();

  // SetInstance installs `logger` as the process's sink and returns the one it replaces; a null
  // `logger` restores the built-in sink. It never fails.
  static std::shared_ptr<ILogger> SetInstance(std::shared_ptr<ILogger> logger);

  // LogStr records one entry. Implementations must not throw and must accept calls from any
  // thread.
  virtual void LogStr(ELogLevel level, const std::string& component, const std::string& function,
                      const std::string& message) = 0;

  // LogVar formats `format` and its arguments as printf does and hands the text to LogStr. A
  // format that cannot be expanded is logged as it stands.
  void LogVar(ELogLevel level, const std::string& component, const std::string& function, const char* format, ...)
      QVCS_PRINTF_FORMAT(5, 6);
};

}  // namespace QVCryptoService
