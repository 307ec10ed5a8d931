#pragma once

#include <cstddef>

namespace QVCryptoService {

// A test seam: the observer sees every locked block after it has been wiped and before its
// pages go back to the system. Not exported; only the test archive can reach it.
using ReleaseObserver = void (*)(const void* data, std::size_t size);
void SetReleaseObserverForTesting(ReleaseObserver observer) noexcept;

}  // namespace QVCryptoService
