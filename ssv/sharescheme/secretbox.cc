#include "ssv/sharescheme/secretbox.h"

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

namespace QVCryptoService::sharescheme {

namespace {

// The XSalsa20 key material of one box: the subkey from HSalsa20 over the first 16 nonce bytes
// and the first key-stream block, whose first 32 bytes are the one-time Poly1305 key.
class BoxStream {
 public:
  BoxStream(std::span<const std::uint8_t, kSecretboxNonceSize> nonce,
            std::span<const std::uint8_t, kSecretboxKeySize> key)
      : nonceTail_(nonce.subspan<kHSalsaInputSize, kSalsaNonceSize>()) {
    HSalsa20(subkey_, nonce.first<kHSalsaInputSize>(), key);
    Salsa20Block(firstBlock_, subkey_, nonceTail_, 0);
  }
  ~BoxStream() {
    OPENSSL_cleanse(subkey_.data(), subkey_.size());
    OPENSSL_cleanse(firstBlock_.data(), firstBlock_.size());
  }
  BoxStream(const BoxStream&) = delete;
  BoxStream& operator=(const BoxStream&) = delete;

  std::span<const std::uint8_t, kPoly1305KeySize> authenticatorKey() const {
    return std::span<const std::uint8_t, kSalsaBlockSize>(firstBlock_).first<kPoly1305KeySize>();
  }

  // Crypt XORs bytes 32 onwards of `in` with the key stream at the same offsets.
  void crypt(std::uint8_t* out, const std::uint8_t* in, std::size_t size) const {
    const std::size_t inFirstBlock = std::min(size, kSalsaBlockSize);
    for (std::size_t i = kPoly1305KeySize; i < inFirstBlock; ++i) {
      out[i] = static_cast<std::uint8_t>(in[i] ^ firstBlock_[i]);
    }
    if (size > kSalsaBlockSize) {
      Salsa20Xor(out + kSalsaBlockSize, in + kSalsaBlockSize, size - kSalsaBlockSize, subkey_, nonceTail_, 1);
    }
  }

 private:
  std::span<const std::uint8_t, kSalsaNonceSize> nonceTail_;
  std::array<std::uint8_t, kSalsaKeySize> subkey_{};
  std::array<std::uint8_t, kSalsaBlockSize> firstBlock_{};
};

}  // namespace

bool SecretboxSeal(std::span<std::uint8_t> box, std::span<const std::uint8_t> plain,
                   std::span<const std::uint8_t, kSecretboxNonceSize> nonce,
                   std::span<const std::uint8_t, kSecretboxKeySize> key) {
  if (plain.size() < kSecretboxPlainPadding || box.size() != plain.size()) {
    return false;
  }
  const BoxStream stream(nonce, key);
  stream.crypt(box.data(), plain.data(), plain.size());
  std::array<std::uint8_t, kPoly1305TagSize> tag{};
  Poly1305(tag, box.data() + kSecretboxPlainPadding, box.size() - kSecretboxPlainPadding, stream.authenticatorKey());
  std::fill_n(box.begin(), kSecretboxBoxPadding, std::uint8_t{0});
  std::copy(tag.begin(), tag.end(), box.begin() + kSecretboxBoxPadding);
  return true;
}

bool SecretboxOpen(std::span<std::uint8_t> plain, std::span<const std::uint8_t> box,
                   std::span<const std::uint8_t, kSecretboxNonceSize> nonce,
                   std::span<const std::uint8_t, kSecretboxKeySize> key) {
  if (box.size() < kSecretboxPlainPadding || plain.size() != box.size()) {
    return false;
  }
  const BoxStream stream(nonce, key);
  const std::span<const std::uint8_t, kPoly1305TagSize> tag(box.data() + kSecretboxBoxPadding, kPoly1305TagSize);
  if (!Poly1305Verify(tag, box.data() + kSecretboxPlainPadding, box.size() - kSecretboxPlainPadding,
                      stream.authenticatorKey())) {
    return false;
  }
  stream.crypt(plain.data(), box.data(), box.size());
  std::fill_n(plain.begin(), kSecretboxPlainPadding, std::uint8_t{0});
  return true;
}

}  // namespace QVCryptoService::sharescheme
