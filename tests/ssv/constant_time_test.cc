// Secrets are marked undefined, so that Valgrind's memcheck reports any branch or index on them.

#include "ssv/sharescheme/gf256.h"
#include "ssv/sharescheme/key_shares.h"
#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/secretbox.h"

#include <gtest/gtest.h>

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_UNDEFINED(address, size) (static_cast<void>(address), static_cast<void>(size))
#define VALGRIND_MAKE_MEM_DEFINED(address, size) (static_cast<void>(address), static_cast<void>(size))
#endif

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

template <typename T>
void Secret(T& object) {
  VALGRIND_MAKE_MEM_UNDEFINED(&object, sizeof object);
}
template <typename T>
void Public(T& object) {
  VALGRIND_MAKE_MEM_DEFINED(&object, sizeof object);
}

bool SecretRandom(std::uint8_t* out, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    out[i] = static_cast<std::uint8_t>(i * 151 + 7);
  }
  VALGRIND_MAKE_MEM_UNDEFINED(out, size);
  return true;
}

// Key shares run every operation of the field on secret elements.
TEST(ConstantTime, KeySharesOfASecretKey) {
  std::array<std::uint8_t, kSharedKeySize> key{};
  key.fill(0x3C);
  Secret(key);
  std::array<std::uint8_t, kKeyShareCount * kKeyShareSize> shares{};
  ASSERT_TRUE(CreateKeyShares(key, shares, &SecretRandom));
  Secret(shares);  // the x bytes are secret too as far as combination is concerned
  const auto at = [&](std::size_t i) { return KeyShareView(shares.data() + i * kKeyShareSize, kKeyShareSize); };
  std::array<std::uint8_t, kSharedKeySize> combined{};
  CombineKeyShares({at(0), at(1), at(2), at(3), at(4)}, combined);
  Gf256Lanes broadcast = Gf256Broadcast(key[0]);  // the one operation sharing does not run on secrets
  Public(broadcast);
  EXPECT_EQ(broadcast.bits[2], 0xFFFFFFFFU);
  Public(combined);
  Public(key);
  EXPECT_EQ(combined, key);
}

TEST(ConstantTime, SecretBoxAndItsAuthenticator) {
  std::array<std::uint8_t, kSecretboxKeySize> key{};
  key.fill(0xA5);
  const std::array<std::uint8_t, kSecretboxNonceSize> nonce{};
  std::vector<std::uint8_t> plain(96, 0x11);
  Secret(key);
  VALGRIND_MAKE_MEM_UNDEFINED(plain.data(), plain.size());
  std::vector<std::uint8_t> box(plain.size());
  ASSERT_TRUE(SecretboxSeal(box, plain, nonce, key));
  std::array<std::uint8_t, kPoly1305KeySize> authKey{};
  authKey.fill(0xFF);
  Secret(authKey);
  std::array<std::uint8_t, kPoly1305TagSize> tag{};
  Poly1305(tag, plain.data(), plain.size(), authKey);
  bool matches = Poly1305Verify(tag, plain.data(), plain.size(), authKey);
  Public(matches);
  EXPECT_TRUE(matches);
}

// Branches on secret bits on purpose: memcheck must report it. The volatile count keeps the branch.
volatile unsigned g_branchesTaken = 0;

TEST(ConstantTimeCanary, BranchOnSecretBits) {
  std::uint8_t a = 0x57;
  std::uint8_t b = 0x83;
  Secret(a);
  Secret(b);
  unsigned product = 0;
  unsigned shifted = a;
  for (int bit = 0; bit < 8; ++bit) {
    if ((b >> bit) & 1U) {
      product ^= shifted;
      g_branchesTaken = g_branchesTaken + 1;
    }
    shifted <<= 1;
    shifted ^= 0x11BU & (0U - (shifted >> 8));
  }
  Public(product);
  EXPECT_EQ(product, 0xC1U);
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
