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
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(DescriptorText(object), SDDL_REVISION_1, &m_descriptor,
                                                            nullptr)) {
    m_descriptor = nullptr;
  }
  m_attributes.nLength = sizeof(m_attributes);
  m_attributes.lpSecurityDescriptor = m_descriptor;
  m_attributes.bInheritHandle = FALSE;
}

AdministratorsOnlyDescriptor::~AdministratorsOnlyDescriptor() {
  if (m_descriptor != nullptr) {
    (void)LocalFree(m_descriptor);
  }
}

}  // namespace QVCryptoService::platform
