#include "platform/thread_slot.h"

#include <windows.h>

namespace QVCryptoService::platform {

// Fiber-local storage: its callback runs at thread exit for every slot that holds a value.
ThreadSlot::ThreadSlot(ThreadExitFunction atThreadExit) noexcept {
  const DWORD index = FlsAlloc(reinterpret_cast<PFLS_CALLBACK_FUNCTION>(atThreadExit));
  valid_ = index != FLS_OUT_OF_INDEXES;
  id_ = index;
}

void* ThreadSlot::get() const noexcept { return FlsGetValue(static_cast<DWORD>(id_)); }

void ThreadSlot::set(void* value) const noexcept { (void)FlsSetValue(static_cast<DWORD>(id_), value); }

}  // namespace QVCryptoService::platform
