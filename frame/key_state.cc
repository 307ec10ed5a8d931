// The names of a key version's states.

#include <qvcryptoservice/keystore.h>

namespace QVCryptoService {

const char* QVKeyStateName(std::int32_t state) noexcept {
  switch (state) {
    case QV_KEY_PRE_ACTIVE:
      return "pre-active";
    case QV_KEY_ACTIVE:
      return "active";
    case QV_KEY_DEACTIVATED:
      return "deactivated";
    case QV_KEY_COMPROMISED:
      return "compromised";
    case QV_KEY_DESTROYED:
      return "destroyed";
    default:
      return nullptr;
  }
}

}  // namespace QVCryptoService
