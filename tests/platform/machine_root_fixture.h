#pragma once

// Test helpers around the machine root and the logger: every test that reaches the machine
// store or the system directory runs in a fresh temporary root, and every test that looks at
// diagnostics captures them instead of letting them reach standard error.

#include <qvcryptoservice/logger.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace testsupport {

// TempMachineRoot points QVCRYPTO_MACHINE_ROOT at a new empty directory for its lifetime and
// removes the directory afterwards. The previous value comes back on destruction.
class TempMachineRoot {
 public:
  TempMachineRoot() {
    std::random_device entropy;
    const auto base = std::filesystem::temp_directory_path();
    do {
      m_path = base / ("qvcs-root-" + std::to_string(entropy()) + std::to_string(entropy()));
    } while (!std::filesystem::create_directory(m_path));
    if (const char* previous = std::getenv(kVariable)) {
      m_previous = previous;
    }
    ::setenv(kVariable, m_path.c_str(), 1);
  }
  ~TempMachineRoot() {
    if (m_previous) {
      ::setenv(kVariable, m_previous->c_str(), 1);
    } else {
      ::unsetenv(kVariable);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempMachineRoot(const TempMachineRoot&) = delete;
  TempMachineRoot& operator=(const TempMachineRoot&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  std::string string() const { return m_path.string(); }

  // ValuePath is where the store keeps value `value` of key `key` ("SOFTWARE/Classes/SSV").
  std::filesystem::path ValuePath(const std::string& key, const std::string& value) const {
    return m_path / "registry" / key / value;
  }

 private:
  static constexpr const char* kVariable = "QVCRYPTO_MACHINE_ROOT";
  std::filesystem::path m_path;
  std::optional<std::string> m_previous;
};

inline void WriteBytes(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(out.good()) << "cannot write " << path;
}

inline std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct LogEntry {
  int level;
  std::string component;
  std::string function;
  std::string message;

  bool operator==(const LogEntry&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const LogEntry& entry) {
    return out << "{" << entry.level << ", \"" << entry.component << "\", \"" << entry.function << "\", \""
               << entry.message << "\"}";
  }
};

// CapturedLog installs itself as the process's log sink for its lifetime and keeps every entry.
class CapturedLog {
 public:
  CapturedLog() : m_sink(std::make_shared<Sink>()) { m_previous = QVCryptoService::ILogger::SetInstance(m_sink); }
  ~CapturedLog() { QVCryptoService::ILogger::SetInstance(m_previous); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<LogEntry> entries() const { return m_sink->entries(); }
  void clear() { m_sink->clear(); }

 private:
  class Sink : public QVCryptoService::ILogger {
   public:
    void LogStr(QVCryptoService::ELogLevel level, const std::string& component, const std::string& function,
                const std::string& message) override {
      const std::lock_guard<std::mutex> guard(m_lock);
      m_entries.push_back({static_cast<int>(level), component, function, message});
    }
    std::vector<LogEntry> entries() const {
      const std::lock_guard<std::mutex> guard(m_lock);
      return m_entries;
    }
    void clear() {
      const std::lock_guard<std::mutex> guard(m_lock);
      m_entries.clear();
    }

   private:
    mutable std::mutex m_lock;
    std::vector<LogEntry> m_entries;
  };

  std::shared_ptr<Sink> m_sink;
  std::shared_ptr<QVCryptoService::ILogger> m_previous;
};

}  // namespace testsupport
