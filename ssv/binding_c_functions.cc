// The machine binding of the SSV for C callers.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/ssv_binding.h>

extern "C" {

int SSVBindingState(void) { return static_cast<int>(QVCryptoService::CheckSsvBinding()); }

int SSVBindToMachine(void) { return QVCryptoService::BindSsvToMachine() ? 1 : 0; }

const char* SSVBindingStateText(int state) {
  return QVCryptoService::SsvBindingStateText(static_cast<QVCryptoService::SsvBindingState>(state));
}

}  // extern "C"
