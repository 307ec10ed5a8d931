#pragma once

// The plain C functions are called from code that knows nothing of C++ exceptions; one that
// unwound into such a caller would end its process. Each C function runs its body through
// RunForC, which turns any exception (in practice std::bad_alloc) into that function's failure.

namespace QVCryptoService {

template <typename Result, typename Body>
Result RunForC(Result onFailure, Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return onFailure;
  }
}

}  // namespace QVCryptoService
