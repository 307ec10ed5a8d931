#include "platform/task_memory.h"

#include <cstdlib>

namespace QVCryptoService::platform {

// The C exports' outputs are freed by callers with free(); this is the one place that uses malloc.
void* AllocateCallerMemory(std::size_t size) noexcept {
  return std::malloc(size);
}  // NOLINT(cppcoreguidelines-no-malloc)

void FreeCallerMemory(void* memory) noexcept { std::free(memory); }  // NOLINT(cppcoreguidelines-no-malloc)

}  // namespace QVCryptoService::platform
