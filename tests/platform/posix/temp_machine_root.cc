#include "tests/platform/machine_root_fixture.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace testsupport {
namespace {

constexpr const char* kVariable = "QVCRYPTO_MACHINE_ROOT";

std::filesystem::path ValuePath(const std::filesystem::path& root, std::string key, const std::string& value) {
  std::replace(key.begin(), key.end(), '\\', '/');
  return root / "registry" / key / value;
}

}  // namespace

TempMachineRoot::TempMachineRoot() {
  // The library refuses a machine root, or anything in it, that group or others may write; a
  // umask of 002 would make every directory and file a test creates so.
  ::umask(022);
  std::string pattern = (std::filesystem::temp_directory_path() / "qvcs-root-XXXXXX").string();
  EXPECT_NE(::mkdtemp(pattern.data()), nullptr) << pattern;
  m_path = pattern;
  if (const char* previous = std::getenv(kVariable)) {
    m_previous = previous;
  }
  ::setenv(kVariable, m_path.c_str(), 1);
}

TempMachineRoot::~TempMachineRoot() {
  m_previous ? ::setenv(kVariable, m_previous->c_str(), 1) : ::unsetenv(kVariable);
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::uint8_t> TempMachineRoot::ReadValue(const std::string& key, const std::string& value) const {
  return ReadBytes(ValuePath(m_path, key, value));
}

void TempMachineRoot::WriteValue(const std::string& key, const std::string& value,
                                 const std::vector<std::uint8_t>& bytes) const {
  WriteBytes(ValuePath(m_path, key, value), bytes);
}

}  // namespace testsupport
