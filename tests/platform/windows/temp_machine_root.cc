#include "tests/platform/machine_root_fixture.h"

#include <windows.h>

#include <array>

namespace testsupport {
namespace {

std::filesystem::path SystemDirectoryPath() {
  std::array<char, MAX_PATH + 1> buffer{};
  const UINT length = GetSystemDirectoryA(buffer.data(), static_cast<UINT>(buffer.size()));
  return std::filesystem::path(std::string(buffer.data(), length));
}

// Every key the SSV is read from or written to, deepest first, and the staging file.
void EmptyMachine(const std::filesystem::path& systemDirectory) {
  for (const char* key : {"SOFTWARE\\Classes\\SSV", "SOFTWARE\\Classes\\Quorvel", "SOFTWARE\\Quorvel"}) {
    (void)RegDeleteTreeA(HKEY_LOCAL_MACHINE, key);
    (void)RegDeleteKeyA(HKEY_LOCAL_MACHINE, key);
  }
  std::error_code ignored;
  std::filesystem::remove(systemDirectory / "stableSystemValues", ignored);
}

}  // namespace

TempMachineRoot::TempMachineRoot() : m_path(SystemDirectoryPath()) { EmptyMachine(m_path); }

TempMachineRoot::~TempMachineRoot() { EmptyMachine(m_path); }

std::vector<std::uint8_t> TempMachineRoot::ReadValue(const std::string& key, const std::string& value) const {
  std::vector<std::uint8_t> bytes(1 << 16);
  auto size = static_cast<DWORD>(bytes.size());
  const LONG error =
      RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), value.c_str(), RRF_RT_REG_BINARY, nullptr, bytes.data(), &size);
  bytes.resize(error == ERROR_SUCCESS ? size : 0);
  return bytes;
}

void TempMachineRoot::WriteValue(const std::string& key, const std::string& value,
                                 const std::vector<std::uint8_t>& bytes) const {
  ASSERT_EQ(RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), value.c_str(), REG_BINARY, bytes.data(),
                            static_cast<DWORD>(bytes.size())),
            ERROR_SUCCESS)
      << "cannot write " << key << "\\" << value;
}

}  // namespace testsupport
