#include "platform/locked_pages.h"

#include <windows.h>
// psapi.h needs the types of windows.h.
#include <psapi.h>

namespace QVCryptoService::platform {

void* AllocateLockedPages(std::size_t size) noexcept {
  void* pages = VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE);
  if (pages != nullptr) {
    // Best effort: the working-set quota may refuse the lock, and the memory is still usable.
    (void)VirtualLock(pages, size);
  }
  return pages;
}

void ReleaseLockedPages(void* pages, std::size_t size) noexcept {
  (void)VirtualUnlock(pages, size);
  (void)VirtualFree(pages, 0, MEM_RELEASE);
}

bool IsPageLocked(const void* address) noexcept {
  PSAPI_WORKING_SET_EX_INFORMATION info{};
  info.VirtualAddress = const_cast<void*>(address);
  if (!QueryWorkingSetEx(GetCurrentProcess(), &info, sizeof info)) {
    return false;
  }
  return info.VirtualAttributes.Valid && info.VirtualAttributes.Locked;
}

bool PageLocksAreObservable() noexcept {
  // Wine's VirtualLock does lock (mlock), but its QueryWorkingSetEx leaves the Locked attribute
  // at zero. Wine is known by the extra function its ntdll exports.
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll == nullptr || GetProcAddress(ntdll, "wine_get_version") == nullptr;
}

}  // namespace QVCryptoService::platform
