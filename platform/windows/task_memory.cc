#include "platform/task_memory.h"

#include <objbase.h>

namespace QVCryptoService::platform {

// The C exports' outputs are freed by callers with CoTaskMemFree.
void* AllocateCallerMemory(std::size_t size) noexcept { return CoTaskMemAlloc(size); }

void FreeCallerMemory(void* memory) noexcept { CoTaskMemFree(memory); }

}  // namespace QVCryptoService::platform
