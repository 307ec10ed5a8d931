#pragma once

// The interface hands passwords over in std::string, by value in the engines' operations, so the
// library cannot avoid holding a copy on the heap; it can make sure that the copy is blank
// before its memory goes back.

#include <openssl/crypto.h>

#include <string>

namespace QVCryptoService {

// WipeOnExit overwrites the characters of `text` when the scope ends. A string moved from in
// the meantime is empty by then and its buffer is wiped by whoever received it.
class WipeOnExit {
 public:
  explicit WipeOnExit(std::string& text) noexcept : m_text(text) {}
  ~WipeOnExit() { OPENSSL_cleanse(m_text.data(), m_text.size()); }
  WipeOnExit(const WipeOnExit&) = delete;
  WipeOnExit& operator=(const WipeOnExit&) = delete;

 private:
  std::string& m_text;
};

}  // namespace QVCryptoService
