#include "platform/windows/security_descriptor.h"

#include <sddl.h>

namespace QVCryptoService::platform {

namespace {

// "P" protects the DACL from inheritance; each entry allows the object type's full access
// (FILE_ALL_ACCESS, KEY_ALL_ACCESS) to SYSTEM ("SY") and Administrators ("BA"). The rights are
// the specific ones rather than GENERIC_ALL, so the stored entries read back as they are written.
const wchar_t* DescriptorText(SecuredObject object) {
  return object == SecuredObject::kFile ? L"D:P(A;;FA;;;SY)(A;;FA;;;BA)" : L"D:P(A;;KA;;;SY)(A;;KA;;;BA)";
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

}  // namespace QVCryptoService::platform
