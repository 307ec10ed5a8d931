#pragma once

namespace QVCryptoService::platform {

// A thread slot holds one pointer per thread, null until the thread sets it. When a thread whose
// pointer is not null ends, the slot's exit function is called on that thread with the pointer.
// The slot uses the system's own thread-local storage, so its exit function runs whatever the
// compiler does with C++ thread_local objects at thread exit.
using ThreadExitFunction = void (*)(void* value);

class ThreadSlot {
 public:
  // Makes a slot; valid() is false when the system has no slot left.
  explicit ThreadSlot(ThreadExitFunction atThreadExit) noexcept;
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;
  // Slots are meant to live as long as the process; the destructor does not free the system slot.
  ~ThreadSlot() = default;

  bool valid() const noexcept { return valid_; }
  // get and set read and write the calling thread's pointer; only on a valid slot.
  void* get() const noexcept;
  void set(void* value) const noexcept;

 private:
  unsigned long id_ = 0;
  bool valid_ = false;
};

}  // namespace QVCryptoService::platform
