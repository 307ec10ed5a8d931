#pragma once

// What the fuzz targets share: a silent logger, the check that stops a run and a machine root
// of their own.

#include <qvcryptoservice/logger.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include <stdlib.h>
#include <sys/stat.h>

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

// UseTemporaryMachineRoot points the library at a new empty machine root below the temporary
// directory, removed again when the process exits, so that no machine's real SSV is touched.
// Returns its path.
inline const std::string& UseTemporaryMachineRoot() {
  static std::string root;
  if (!root.empty()) {
    return root;
  }
  // The library refuses a machine root, or anything in it, that group or others may write; a
  // umask of 002 would make what the harness writes there so.
  ::umask(022);
  std::string pattern = (std::filesystem::temp_directory_path() / "qvcs-fuzz-root-XXXXXX").string();
  Require(mkdtemp(pattern.data()) != nullptr, "a temporary machine root can be made");
  root = pattern;
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  });
  Require(setenv("QVCRYPTO_MACHINE_ROOT", root.c_str(), 1) == 0, "the machine root can be set");
  return root;
}

}  // namespace fuzzsupport
