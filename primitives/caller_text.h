#pragma once

// Texts that the plain C functions hand to their caller.

#include "platform/task_memory.h"

#include <cstring>
#include <string>

namespace QVCryptoService {

// HandTextToCaller stores through `out` a zero-terminated copy of `text` from the caller's task
// allocator; false (and nothing stored) when the text is empty, `out` is null or no memory could
// be had.
inline bool HandTextToCaller(const std::string& text, char** out) noexcept {
  if (text.empty() || out == nullptr) {
    return false;
  }
  auto* copy = static_cast<char*>(platform::AllocateCallerMemory(text.size() + 1));
  if (copy == nullptr) {
    return false;
  }
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  *out = copy;
  return true;
}

}  // namespace QVCryptoService
