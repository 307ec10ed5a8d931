#pragma once

// The interface hands passwords over in std::string, by value in the engines' operations, so the
// library cannot avoid holding a copy on the heap; it can make sure that the copy is blank
// before its memory goes back.

#include <openssl/crypto.h>

#include <string>

namespace QVCryptoService {

// WipeString overwrites every character `text` has storage for and leaves it empty: its whole
// capacity, not only its size, since a string that shrank, or was moved from, still holds older
// characters there. A short string keeps them inside the string object itself (a moved-from one
// keeps all but the first), which this covers too. Growing to the capacity never reallocates.
inline void WipeString(std::string& text) noexcept {
  text.resize(text.capacity());
  OPENSSL_cleanse(text.data(), text.size());
  text.clear();
}

// WipeOnExit wipes `text` (see WipeString) when the scope ends, whether or not it was moved from
// in the meantime.
class WipeOnExit {
 public:
  explicit WipeOnExit(std::string& text) noexcept : text_(text) {}
  ~WipeOnExit() { WipeString(text_); }
  WipeOnExit(const WipeOnExit&) = delete;
  WipeOnExit& operator=(const WipeOnExit&) = delete;

 private:
  std::string& text_;
};

}  // namespace QVCryptoService
