#include "tests/platform/machine_root_fixture.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace testsupport {

namespace {

constexpr const char* kVariable = "QVCRYPTO_MACHINE_ROOT";

}  // namespace

TempMachineRoot::TempMachineRoot() {
  // The library refuses a machine root, or anything in it, that group or others may write; a
  // umask of 002 would make every directory and file a test creates so.
  ::umask(022);
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

TempMachineRoot::~TempMachineRoot() {
  if (m_previous) {
    ::setenv(kVariable, m_previous->c_str(), 1);
  } else {
    ::unsetenv(kVariable);
  }
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TempMachineRoot::ValuePath(const std::string& key, const std::string& value) const {
  std::string directory = key;
  std::replace(directory.begin(), directory.end(), '\\', '/');
  return m_path / "registry" / directory / value;
}

bool TempMachineRoot::HasValue(const std::string& key, const std::string& value) const {
  return std::filesystem::exists(ValuePath(key, value));
}

std::vector<std::uint8_t> TempMachineRoot::ReadValue(const std::string& key, const std::string& value) const {
  return ReadBytes(ValuePath(key, value));
}

void TempMachineRoot::WriteValue(const std::string& key, const std::string& value,
                                 const std::vector<std::uint8_t>& bytes) const {
  WriteBytes(ValuePath(key, value), bytes);
}

void TempMachineRoot::RemoveValue(const std::string& key, const std::string& value) const {
  std::filesystem::remove(ValuePath(key, value));
}

void TempMachineRoot::ExpectPrivateBinaryValue(const std::string& key, const std::string& value) const {
  namespace fs = std::filesystem;
  const fs::path file = ValuePath(key, value);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
  EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()), 1)
      << "something besides the value was left in the key";
}

}  // namespace testsupport
