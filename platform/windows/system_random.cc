#include "platform/system_random.h"

#include <windows.h>
// wincrypt.h needs the types of windows.h.
#include <wincrypt.h>

#include <algorithm>

namespace QVCryptoService::platform {

namespace {

class CryptoProvider {
 public:
  CryptoProvider() noexcept {
    if (!CryptAcquireContextW(&handle_, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
      handle_ = 0;
    }
  }
  ~CryptoProvider() {
    if (handle_ != 0) {
      (void)CryptReleaseContext(handle_, 0);
    }
  }
  CryptoProvider(const CryptoProvider&) = delete;
  CryptoProvider& operator=(const CryptoProvider&) = delete;

  HCRYPTPROV get() const noexcept { return handle_; }

 private:
  HCRYPTPROV handle_ = 0;
};

}  // namespace

bool FillSystemRandom(std::uint8_t* out, std::size_t size) noexcept {
  const CryptoProvider provider;
  if (provider.get() == 0) {
    return false;
  }
  while (size > 0) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 0x10000000));
    if (!CryptGenRandom(provider.get(), chunk, out)) {
      return false;
    }
    out += chunk;
    size -= chunk;
  }
  return true;
}

}  // namespace QVCryptoService::platform
