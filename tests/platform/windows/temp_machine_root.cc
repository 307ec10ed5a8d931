#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>

namespace testsupport {

namespace {

// Every key the SSV is read from or written to, deepest first so that emptying SOFTWARE\Classes
// never removes more than the library's own keys.
constexpr std::array<const wchar_t*, 3> kSsvKeys = {L"SOFTWARE\\Classes\\SSV", L"SOFTWARE\\Classes\\Quorvel",
                                                    L"SOFTWARE\\Quorvel"};

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

std::filesystem::path SystemDirectoryPath() {
  std::array<char, MAX_PATH + 1> buffer{};
  const UINT length = GetSystemDirectoryA(buffer.data(), static_cast<UINT>(buffer.size()));
  return std::filesystem::path(std::string(buffer.data(), length));
}

void EmptyMachine(const std::filesystem::path& systemDirectory) {
  for (const wchar_t* key : kSsvKeys) {
    (void)RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
    (void)RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
  }
  std::error_code ignored;
  std::filesystem::remove(systemDirectory / "stableSystemValues", ignored);
}

class OpenKey {
 public:
  OpenKey(const std::string& path, REGSAM access, bool create) {
    const std::wstring wide = Widen(path);
    m_status = create
                   ? RegCreateKeyExW(HKEY_LOCAL_MACHINE, wide.c_str(), 0, nullptr, 0, access, nullptr, &m_key, nullptr)
                   : RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide.c_str(), 0, access, &m_key);
  }
  ~OpenKey() {
    if (m_status == ERROR_SUCCESS) {
      (void)RegCloseKey(m_key);
    }
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  bool ok() const { return m_status == ERROR_SUCCESS; }
  HKEY get() const { return m_key; }

 private:
  HKEY m_key = nullptr;
  LONG m_status = ERROR_INVALID_HANDLE;
};

}  // namespace

TempMachineRoot::TempMachineRoot() : m_path(SystemDirectoryPath()) { EmptyMachine(m_path); }

TempMachineRoot::~TempMachineRoot() { EmptyMachine(m_path); }

std::filesystem::path TempMachineRoot::ValuePath(const std::string&, const std::string&) const {
  ADD_FAILURE() << "the Windows store keeps values in the registry, not in files";
  return {};
}

bool TempMachineRoot::HasValue(const std::string& key, const std::string& value) const {
  const OpenKey opened(key, KEY_QUERY_VALUE, false);
  return opened.ok() &&
         RegQueryValueExW(opened.get(), Widen(value).c_str(), nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

std::vector<std::uint8_t> TempMachineRoot::ReadValue(const std::string& key, const std::string& value) const {
  const OpenKey opened(key, KEY_QUERY_VALUE, false);
  DWORD size = 0;
  if (!opened.ok() ||
      RegQueryValueExW(opened.get(), Widen(value).c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
    return {};
  }
  std::vector<std::uint8_t> bytes(size);
  if (RegQueryValueExW(opened.get(), Widen(value).c_str(), nullptr, nullptr, bytes.data(), &size) != ERROR_SUCCESS) {
    ADD_FAILURE() << "cannot read " << key << "\\" << value;
    return {};
  }
  bytes.resize(size);
  return bytes;
}

void TempMachineRoot::WriteValue(const std::string& key, const std::string& value,
                                 const std::vector<std::uint8_t>& bytes) const {
  const OpenKey opened(key, KEY_SET_VALUE, true);
  ASSERT_TRUE(opened.ok()) << "cannot create HKLM\\" << key;
  ASSERT_EQ(
      RegSetValueExW(opened.get(), Widen(value).c_str(), 0, REG_BINARY, bytes.data(), static_cast<DWORD>(bytes.size())),
      ERROR_SUCCESS)
      << "cannot write " << key << "\\" << value;
}

void TempMachineRoot::RemoveValue(const std::string& key, const std::string& value) const {
  const OpenKey opened(key, KEY_SET_VALUE, false);
  ASSERT_TRUE(opened.ok()) << "HKLM\\" << key << " is missing";
  ASSERT_EQ(RegDeleteValueW(opened.get(), Widen(value).c_str()), ERROR_SUCCESS);
}

void TempMachineRoot::ExpectPrivateBinaryValue(const std::string& key, const std::string& value) const {
  const OpenKey opened(key, KEY_QUERY_VALUE, false);
  ASSERT_TRUE(opened.ok()) << "HKLM\\" << key << " is missing";
  DWORD type = REG_NONE;
  ASSERT_EQ(RegQueryValueExW(opened.get(), Widen(value).c_str(), nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
  DWORD values = 0;
  DWORD subkeys = 0;
  ASSERT_EQ(RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(values, 1u) << "something besides the value was left in the key";
  EXPECT_EQ(subkeys, 0u);
}

}  // namespace testsupport
