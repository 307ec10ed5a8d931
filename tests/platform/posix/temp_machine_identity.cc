#include "tests/platform/machine_identity_fixture.h"

#include "platform/system_directory.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace testsupport {

using QVCryptoService::platform::kMachineIdFileVariable;

TempMachineIdentity::TempMachineIdentity() {
  // A directory of its own, private: nothing planted in a shared one is written through.
  std::string directory = (std::filesystem::temp_directory_path() / "qvcs-id-XXXXXX").string();
  m_location = (::mkdtemp(directory.data()) != nullptr ? directory : std::string("/nonexistent")) + "/machine-id";
  if (const char* previous = std::getenv(kMachineIdFileVariable)) {
    m_previous = previous;
  }
  ::setenv(kMachineIdFileVariable, m_location.c_str(), 1);
}

TempMachineIdentity::~TempMachineIdentity() {
  m_previous ? ::setenv(kMachineIdFileVariable, m_previous->c_str(), 1) : ::unsetenv(kMachineIdFileVariable);
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(m_location).parent_path(), ignored);
}

void TempMachineIdentity::Set(const std::string& guid) const {
  std::string digits = guid;
  digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
  std::ofstream(m_location, std::ios::trunc) << digits << "\n";
}

void TempMachineIdentity::Remove() const { std::filesystem::remove(m_location); }

}  // namespace testsupport
