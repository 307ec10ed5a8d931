#include "tests/platform/machine_identity_fixture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>

namespace testsupport {

namespace {

constexpr const char* kKey = "SOFTWARE\\Microsoft\\Cryptography";
constexpr const char* kValue = "MachineGuid";

}  // namespace

TempMachineIdentity::TempMachineIdentity() {
  std::array<char, 256> buffer{};
  auto size = static_cast<DWORD>(buffer.size());
  if (RegGetValueA(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, buffer.data(),
                   &size) == ERROR_SUCCESS) {
    m_previous = buffer.data();
  }
}

TempMachineIdentity::~TempMachineIdentity() { m_previous ? Set(*m_previous) : Remove(); }

void TempMachineIdentity::Set(const std::string& guid) const {
  HKEY key = nullptr;
  ASSERT_EQ(
      RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &key, nullptr),
      ERROR_SUCCESS);
  const LONG error = RegSetValueExA(key, kValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(guid.c_str()),
                                    static_cast<DWORD>(guid.size() + 1));
  (void)RegCloseKey(key);
  ASSERT_EQ(error, ERROR_SUCCESS) << "cannot set " << kKey << "\\" << kValue;
}

void TempMachineIdentity::Remove() const {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_SET_VALUE | KEY_WOW64_64KEY, &key) == ERROR_SUCCESS) {
    (void)RegDeleteValueA(key, kValue);
    (void)RegCloseKey(key);
  }
}

}  // namespace testsupport
