#pragma once

// What the fuzz targets share: a silent logger and the check that stops a run.

#include <qvcryptoservice/logger.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace fuzzsupport {

// Refused inputs are logged by the library; millions of such lines would drown libFuzzer's own
// report and slow every run down.
class SilentLogger : public QVCryptoService::ILogger {
 public:
  void LogStr(QVCryptoService::ELogLevel, const std::string&, const std::string&, const std::string&) override {}
};

inline void SilenceLibraryLog() { (void)QVCryptoService::ILogger::SetInstance(std::make_shared<SilentLogger>()); }

// Require aborts, so that libFuzzer keeps the input, when an invariant does not hold.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
  }
}

}  // namespace fuzzsupport
