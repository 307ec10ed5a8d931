#include "tests/platform/machine_identity_fixture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>

namespace testsupport {

// A 64-bit test process sees the registry's 64-bit view, where the library reads the identity.
TempMachineIdentity::TempMachineIdentity() : m_location("SOFTWARE\\Microsoft\\Cryptography") {
  std::array<char, 256> buffer{};
  auto size = static_cast<DWORD>(buffer.size());
  if (RegGetValueA(HKEY_LOCAL_MACHINE, m_location.c_str(), "MachineGuid", RRF_RT_REG_SZ, nullptr, buffer.data(),
                   &size) == ERROR_SUCCESS) {
    m_previous = buffer.data();
  }
}

TempMachineIdentity::~TempMachineIdentity() { m_previous ? Set(*m_previous) : Remove(); }

void TempMachineIdentity::Set(const std::string& guid) const {
  ASSERT_EQ(RegSetKeyValueA(HKEY_LOCAL_MACHINE, m_location.c_str(), "MachineGuid", REG_SZ, guid.c_str(),
                            static_cast<DWORD>(guid.size() + 1)),
            ERROR_SUCCESS);
}

void TempMachineIdentity::Remove() const {
  (void)RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, m_location.c_str(), "MachineGuid");
}

}  // namespace testsupport
