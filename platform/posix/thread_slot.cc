#include "platform/thread_slot.h"

#include <pthread.h>

namespace QVCryptoService::platform {

ThreadSlot::ThreadSlot(ThreadExitFunction atThreadExit) noexcept {
  pthread_key_t key{};
  valid_ = pthread_key_create(&key, atThreadExit) == 0;
  id_ = static_cast<unsigned long>(key);
}

void* ThreadSlot::get() const noexcept { return pthread_getspecific(static_cast<pthread_key_t>(id_)); }

void ThreadSlot::set(void* value) const noexcept { (void)pthread_setspecific(static_cast<pthread_key_t>(id_), value); }

}  // namespace QVCryptoService::platform
