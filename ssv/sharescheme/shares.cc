#include "ssv/sharescheme/shares.h"

#include "ssv/sharescheme/constant_time.h"
#include "ssv/sharescheme/secretbox.h"

#include <qvcryptoservice/secure_block.h>

#include <algorithm>

namespace QVCryptoService::sharescheme {

namespace {

constexpr std::size_t kBoxSize = kSecretboxPlainPadding + kShareMessageSize;
static_assert(kShareBoxSize == kBoxSize - kSecretboxBoxPadding);

// Every box has its own random key, so a fixed nonce never meets the same key twice.
constexpr std::array<std::uint8_t, kSecretboxNonceSize> kZeroNonce{};

std::span<const std::uint8_t, kSecretboxKeySize> KeyOf(const SecureBlock& key) {
  return std::span<const std::uint8_t, kSecretboxKeySize>(key.data(), kSecretboxKeySize);
}

}  // namespace

bool CreateShares(std::span<const std::uint8_t, kShareMessageSize> message,
                  std::span<std::uint8_t, kShareCount * kShareSize> shares, RandomSource random) {
  SecureBlock boxKey(kSecretboxKeySize);
  if (!random(boxKey.data(), boxKey.size())) {
    return false;
  }
  SecureBlock box(kBoxSize);
  std::copy(message.begin(), message.end(), box.begin() + kSecretboxPlainPadding);
  if (!SecretboxSeal(box, box, kZeroNonce, KeyOf(boxKey))) {
    return false;
  }
  SecureBlock keyShares(kShareCount * kKeyShareSize);
  if (!CreateKeyShares(KeyOf(boxKey), std::span<std::uint8_t, kShareCount * kKeyShareSize>(keyShares), random)) {
    return false;
  }
  for (std::size_t m = 0; m < kShareCount; ++m) {
    std::uint8_t* share = shares.data() + m * kShareSize;
    std::copy_n(keyShares.begin() + static_cast<std::ptrdiff_t>(m * kKeyShareSize), kKeyShareSize, share);
    std::copy_n(box.begin() + kSecretboxBoxPadding, kShareBoxSize, share + kShareBoxOffset);
  }
  return true;
}

int CombineShares(const std::array<ShareView, kShareCount>& shares,
                  std::span<std::uint8_t, kShareMessageSize> message) {
  // The boxes hold the tag; they are compared without an early exit like every tag, with the
  // answer an ordinary comparison would give.
  for (std::size_t k = 1; k < kShareCount; ++k) {
    if (!EqualBytes(shares[k].data() + kShareBoxOffset, shares[0].data() + kShareBoxOffset, kShareBoxSize)) {
      return -1;
    }
  }
  std::array<KeyShareView, kShareCount> keyShares{
      shares[0].first<kKeyShareSize>(), shares[1].first<kKeyShareSize>(), shares[2].first<kKeyShareSize>(),
      shares[3].first<kKeyShareSize>(), shares[4].first<kKeyShareSize>(),
  };
  SecureBlock boxKey(kSecretboxKeySize);
  CombineKeyShares(keyShares, std::span<std::uint8_t, kSecretboxKeySize>(boxKey));
  SecureBlock box(kBoxSize);
  std::copy_n(shares[0].begin() + kShareBoxOffset, kShareBoxSize, box.begin() + kSecretboxBoxPadding);
  SecureBlock plain(kBoxSize);
  if (!SecretboxOpen(plain, box, kZeroNonce, KeyOf(boxKey))) {
    return -1;
  }
  std::copy_n(plain.begin() + kSecretboxPlainPadding, kShareMessageSize, message.begin());
  return 0;
}

}  // namespace QVCryptoService::sharescheme
