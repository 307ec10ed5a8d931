#include "platform/windows/security_descriptor.h"

#include <aclapi.h>
#include <sddl.h>

#include <string>
#include <vector>

namespace QVCryptoService::platform {

namespace {

// "P" protects the DACL from inheritance; each entry allows the object type's full access
// (FILE_ALL_ACCESS, KEY_ALL_ACCESS) to SYSTEM ("SY") and Administrators ("BA"). The rights are
// the specific ones rather than GENERIC_ALL, so the stored entries read back as they are written.
const wchar_t* DescriptorText(SecuredObject object) {
  return object == SecuredObject::kFile ? L"D:P(A;;FA;;;SY)(A;;FA;;;BA)" : L"D:P(A;;KA;;;SY)(A;;KA;;;BA)";
}

// CurrentAccountSid returns the SID of the account the process runs as, in SDDL's text form
// ("S-1-5-21-..."); empty when it cannot be had.
std::wstring CurrentAccountSid() {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
    return {};
  }
  std::wstring text;
  DWORD size = 0;
  (void)GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<unsigned char> user(size);
  LPWSTR sid = nullptr;
  if (size > 0 && GetTokenInformation(token, TokenUser, user.data(), size, &size) &&
      ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &sid)) {
    text = sid;
    (void)LocalFree(sid);
  }
  (void)CloseHandle(token);
  return text;
}

}  // namespace

AdministratorsOnlyDescriptor::AdministratorsOnlyDescriptor(SecuredObject object) noexcept {
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(DescriptorText(object), SDDL_REVISION_1, &descriptor_,
                                                            nullptr)) {
    descriptor_ = nullptr;
  }
  attributes_.nLength = sizeof(attributes_);
  attributes_.lpSecurityDescriptor = descriptor_;
  attributes_.bInheritHandle = FALSE;
}

AdministratorsOnlyDescriptor::~AdministratorsOnlyDescriptor() {
  if (descriptor_ != nullptr) {
    (void)LocalFree(descriptor_);
  }
}

OwnerOnlyFileDescriptor::OwnerOnlyFileDescriptor(const wchar_t* like) noexcept {
  try {
    PACL dacl = nullptr;
    if (like == nullptr || GetNamedSecurityInfoW(like, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                                 &dacl, nullptr, &descriptor_) != ERROR_SUCCESS) {
      descriptor_ = nullptr;
      const std::wstring sid = CurrentAccountSid();
      const std::wstring text = L"D:P(A;;FA;;;" + sid + L")";
      if (sid.empty() ||
          !ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor_, nullptr)) {
        descriptor_ = nullptr;
      }
    }
  } catch (...) {
    descriptor_ = nullptr;
  }
  attributes_.nLength = sizeof(attributes_);
  attributes_.lpSecurityDescriptor = descriptor_;
  attributes_.bInheritHandle = FALSE;
}

OwnerOnlyFileDescriptor::~OwnerOnlyFileDescriptor() {
  if (descriptor_ != nullptr) {
    (void)LocalFree(descriptor_);
  }
}

}  // namespace QVCryptoService::platform
