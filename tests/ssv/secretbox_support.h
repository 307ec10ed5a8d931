#pragma once

// Helpers shared by the secret-box tests: fixed-size views and the padded box layout.

#include "ssv/sharescheme/secretbox.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace QVCryptoService::sharescheme::testing_support {

using testsupport::ToHex;
using Bytes = std::vector<std::uint8_t>;

template <std::size_t N>
std::span<const std::uint8_t, N> Fixed(const Bytes& bytes) {
  EXPECT_EQ(bytes.size(), N);
  return std::span<const std::uint8_t, N>(bytes.data(), N);
}

// SealPadded seals `message` in the padded layout and returns the box without its 16 zeros.
inline Bytes SealPadded(const Bytes& message, const Bytes& nonce, const Bytes& key) {
  Bytes plain(kSecretboxPlainPadding, 0xEE);  // the padding's content must not matter
  plain.insert(plain.end(), message.begin(), message.end());
  Bytes box(plain.size(), 0x55);
  EXPECT_TRUE(SecretboxSeal(box, plain, Fixed<kSecretboxNonceSize>(nonce), Fixed<kSecretboxKeySize>(key)));
  EXPECT_EQ(ToHex(box.data(), kSecretboxBoxPadding), std::string(2 * kSecretboxBoxPadding, '0'));
  return Bytes(box.begin() + kSecretboxBoxPadding, box.end());
}

// OpenPadded opens a box given without its 16 zeros; nullopt when it does not authenticate, in
// which case nothing may have been written.
inline std::optional<Bytes> OpenPadded(const Bytes& tagAndCipher, const Bytes& nonce, const Bytes& key) {
  Bytes box(kSecretboxBoxPadding, 0);
  box.insert(box.end(), tagAndCipher.begin(), tagAndCipher.end());
  Bytes plain(box.size(), 0x77);
  if (!SecretboxOpen(plain, box, Fixed<kSecretboxNonceSize>(nonce), Fixed<kSecretboxKeySize>(key))) {
    EXPECT_EQ(plain, Bytes(box.size(), 0x77)) << "a refused box wrote plain text";
    return std::nullopt;
  }
  EXPECT_EQ(ToHex(plain.data(), kSecretboxPlainPadding), std::string(2 * kSecretboxPlainPadding, '0'));
  return Bytes(plain.begin() + kSecretboxPlainPadding, plain.end());
}

}  // namespace QVCryptoService::sharescheme::testing_support
