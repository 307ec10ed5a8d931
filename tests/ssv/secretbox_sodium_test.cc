// The secret box and its parts against libsodium, which serves only as an oracle here, over
// sizes around the block boundaries of both primitives and limb values at their largest.

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "ssv/sharescheme/secretbox.h"
#include "tests/ssv/random_bytes.h"
#include "tests/ssv/secretbox_support.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using namespace testing_support;

// libsodium declares its pointers non-null, also for empty buffers.
std::uint8_t* Data(Bytes& bytes) {
  static std::uint8_t nothing = 0;
  return bytes.empty() ? &nothing : bytes.data();
}

class AgainstLibsodium : public testing::TestWithParam<std::size_t> {
 protected:
  static void SetUpTestSuite() { ASSERT_GE(sodium_init(), 0); }
};

// 96 bytes is the padded box of the share scheme's 64-byte group message.
INSTANTIATE_TEST_SUITE_P(MessageSizes, AgainstLibsodium,
                         testing::Values(0, 1, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 4099));

TEST_P(AgainstLibsodium, SecretboxPoly1305AndSalsa20) {
  const std::size_t size = GetParam();
  testsupport::RandomBytes random(static_cast<std::uint32_t>(size));
  for (int round = 0; round < 4; ++round) {
    const auto key = random(kSecretboxKeySize);
    // The share scheme always uses the zero nonce; the other rounds exercise every nonce byte.
    const auto nonce = round == 0 ? Bytes(kSecretboxNonceSize, 0) : random(kSecretboxNonceSize);
    // All-ones keys and messages push every limb to its largest value before reduction.
    auto message = round == 1 ? Bytes(size, 0xFF) : random(size);
    Bytes box(size + crypto_secretbox_MACBYTES);
    ASSERT_EQ(crypto_secretbox_easy(box.data(), Data(message), size, nonce.data(), key.data()), 0);
    EXPECT_EQ(ToHex(SealPadded(message, nonce, key)), ToHex(box)) << "size " << size << " round " << round;
    EXPECT_EQ(OpenPadded(box, nonce, key), message) << "size " << size << " round " << round;

    const auto authKey = round == 1 ? Bytes(kPoly1305KeySize, 0xFF) : random(kPoly1305KeySize);
    std::array<std::uint8_t, kPoly1305TagSize> expected{};
    ASSERT_EQ(crypto_onetimeauth_poly1305(expected.data(), Data(message), size, authKey.data()), 0);
    std::array<std::uint8_t, kPoly1305TagSize> tag{};
    Poly1305(tag, message.data(), size, Fixed<kPoly1305KeySize>(authKey));
    EXPECT_EQ(tag, expected) << "size " << size << " round " << round;

    // From any block, also across the 32-bit boundary of the block counter.
    const std::uint64_t counter = std::array<std::uint64_t, 4>{0, 1, 0xFFFFFFFF, 0x123456789}[round];
    Bytes stream(size);
    ASSERT_EQ(crypto_stream_salsa20_xor_ic(Data(stream), Data(message), size, nonce.data(), counter, key.data()), 0);
    Salsa20Xor(message.data(), message.data(), size, Fixed<kSalsaKeySize>(key),
               Fixed<kSalsaNonceSize>(Bytes(nonce.begin(), nonce.begin() + kSalsaNonceSize)), counter);
    EXPECT_EQ(message, stream) << "size " << size << " counter " << counter;
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
