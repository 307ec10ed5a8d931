#pragma once

// A fresh machine root for tests that reach the machine store, and a captured log.

#include <qvcryptoservice/logger.h>

#include "platform/machine_store.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace testsupport {

// An empty machine for a test's lifetime: a new directory in QVCRYPTO_MACHINE_ROOT on POSIX; on
// Windows the machine itself (under Wine, a fresh prefix) emptied of the SSV keys and staging file.
class TempMachineRoot {
 public:
  TempMachineRoot();
  ~TempMachineRoot();
  TempMachineRoot(const TempMachineRoot&) = delete;
  TempMachineRoot& operator=(const TempMachineRoot&) = delete;

  // The directory of the staging file, which QVSSVCrypto::generateSSV is given.
  const std::filesystem::path& path() const { return m_path; }
  std::string string() const { return m_path.string(); }

  // A store value by registry key path and name, behind the library's back; ReadValue is empty
  // when there is no such (binary) value.
  std::vector<std::uint8_t> ReadValue(const std::string& key, const std::string& value) const;
  void WriteValue(const std::string& key, const std::string& value, const std::vector<std::uint8_t>& bytes) const;

 private:
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

// CapturedLog is the process's log sink for its lifetime and keeps every entry.
class CapturedLog {
 public:
  CapturedLog() : m_sink(std::make_shared<Sink>()) { m_previous = QVCryptoService::ILogger::SetInstance(m_sink); }
  ~CapturedLog() { QVCryptoService::ILogger::SetInstance(m_previous); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  std::vector<LogEntry> entries() const {
    const std::lock_guard guard(m_sink->lock);
    return m_sink->entries;
  }

 private:
  struct Sink : QVCryptoService::ILogger {
    void LogStr(QVCryptoService::ELogLevel level, const std::string& component, const std::string& function,
                const std::string& message) override {
      const std::lock_guard guard(lock);
      entries.push_back({static_cast<int>(level), component, function, message});
    }
    std::mutex lock;
    std::vector<LogEntry> entries;
  };

  std::shared_ptr<Sink> m_sink;
  std::shared_ptr<QVCryptoService::ILogger> m_previous;
};

inline const std::string kSsvKey = "SOFTWARE\\Classes\\SSV";
inline const std::string kSsvValue = "SSV_Data";

// Reads through the machine store, checking the status and that a failure leaves nothing.
inline std::vector<std::uint8_t> ReadStoreValue(const std::string& key, const std::string& value, std::size_t maxSize,
                                                QVCryptoService::platform::StoreStatus expected) {
  using namespace QVCryptoService::platform;
  QVCryptoService::SecureBlock content(3, 0xAA);
  EXPECT_EQ(ReadMachineValue(key, value, maxSize, RegistryView::kNative64, content), expected) << key << " " << value;
  if (expected != StoreStatus::kOk) {
    EXPECT_TRUE(content.empty()) << "a failed read left bytes behind";
  }
  return std::vector<std::uint8_t>(content.begin(), content.end());
}

}  // namespace testsupport
