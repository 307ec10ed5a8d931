#include "platform/machine_identity.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace QVCryptoService::platform {

namespace {

constexpr const wchar_t* kIdentityKey = L"SOFTWARE\\Microsoft\\Cryptography";
constexpr const wchar_t* kIdentityValue = L"MachineGuid";
constexpr const char* kIdentityLocation = "HKLM\\SOFTWARE\\Microsoft\\Cryptography, value MachineGuid,";

// A GUID in its registry form: 8-4-4-4-12 hex digits, no braces.
bool IsGuidText(std::wstring_view text) {
  constexpr std::wstring_view kShape = L"xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (text.size() != kShape.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t c = text[i];
    const bool hex = (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
    if (kShape[i] == L'-' ? c != L'-' : !hex) {
      return false;
    }
  }
  return true;
}

}  // namespace

MachineIdentity ReadMachineIdentity() {
  HKEY key = nullptr;
  // The 64-bit view: a 32-bit process would otherwise read a redirected key without the value.
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kIdentityKey, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY, &key) != ERROR_SUCCESS) {
    return {{}, std::string(kIdentityLocation) + " cannot be read"};
  }
  // Room for a GUID, its terminator and more: a longer value is not a GUID either.
  std::array<wchar_t, 64> buffer{};
  DWORD size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
  const LONG error = RegGetValueW(key, nullptr, kIdentityValue, RRF_RT_REG_SZ, nullptr, buffer.data(), &size);
  (void)RegCloseKey(key);
  if (error != ERROR_SUCCESS) {
    return {{}, std::string(kIdentityLocation) + (error == ERROR_MORE_DATA ? " is not a GUID" : " cannot be read")};
  }
  const std::wstring_view text(buffer.data(), std::min<std::size_t>(size / sizeof(wchar_t), buffer.size()));
  const std::wstring_view guid = text.substr(0, text.find(L'\0'));
  if (!IsGuidText(guid)) {
    return {{}, std::string(kIdentityLocation) + " is not a GUID"};
  }
  // Checked to be ASCII above, so narrowing each character is the conversion.
  std::string identity;
  std::transform(guid.begin(), guid.end(), std::back_inserter(identity),
                 [](wchar_t c) { return static_cast<char>(c); });
  return {identity, {}};
}

}  // namespace QVCryptoService::platform
