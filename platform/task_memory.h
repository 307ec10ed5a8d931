#pragma once

#include <cstddef>

namespace QVCryptoService::platform {

// AllocateCallerMemory returns `size` bytes that the library hands to a C caller, who frees them
// with the platform's task allocator (CoTaskMemFree on Windows, free elsewhere). Null on failure.
void* AllocateCallerMemory(std::size_t size) noexcept;

// FreeCallerMemory frees what AllocateCallerMemory returned (for the library's own tests and
// tools; C callers use the platform's function directly).
void FreeCallerMemory(void* memory) noexcept;

}  // namespace QVCryptoService::platform
