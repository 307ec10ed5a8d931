// The secret box and its parts against libsodium, which serves only as an oracle here.

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "ssv/sharescheme/secretbox.h"
#include "tests/ssv/random_bytes.h"
#include "tests/ssv/secretbox_support.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::RandomBytes;
using testsupport::ToHex;

using namespace testing_support;

// In(bytes) and Out(bytes) give libsodium a valid pointer also for empty buffers: its arguments
// are declared non-null.
const std::uint8_t* In(const std::vector<std::uint8_t>& bytes) {
  static const std::uint8_t kNothing = 0;
  return bytes.empty() ? &kNothing : bytes.data();
}
std::uint8_t* Out(std::vector<std::uint8_t>& bytes) {
  static std::uint8_t scratch = 0;
  return bytes.empty() ? &scratch : bytes.data();
}

class AgainstLibsodium : public testing::TestWithParam<std::size_t> {
 protected:
  static void SetUpTestSuite() { ASSERT_GE(sodium_init(), 0); }
};

// Message sizes around the block boundaries of both primitives, the 64-byte group message of the
// share scheme (a 96-byte padded box), and a few larger ones.
INSTANTIATE_TEST_SUITE_P(MessageSizes, AgainstLibsodium,
                         testing::Values(0, 1, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 131, 1000, 4099));

TEST_P(AgainstLibsodium, SecretboxSealAndOpen) {
  const std::size_t size = GetParam();
  RandomBytes random(static_cast<std::uint32_t>(size));
  for (int round = 0; round < 8; ++round) {
    const auto key = random(kSecretboxKeySize);
    // The share scheme always uses the zero nonce; the others exercise every nonce byte.
    const auto nonce = round == 0 ? std::vector<std::uint8_t>(kSecretboxNonceSize, 0) : random(kSecretboxNonceSize);
    const auto message = random(size);
    std::vector<std::uint8_t> expected(size + crypto_secretbox_MACBYTES);
    ASSERT_EQ(crypto_secretbox_easy(expected.data(), In(message), size, nonce.data(), key.data()), 0);
    EXPECT_EQ(ToHex(SealPadded(message, nonce, key)), ToHex(expected)) << "size " << size << " round " << round;
    const auto opened = OpenPadded(expected, nonce, key);
    ASSERT_TRUE(opened.has_value()) << "size " << size << " round " << round;
    EXPECT_EQ(*opened, message);
  }
}

TEST_P(AgainstLibsodium, Poly1305TagAndVerify) {
  const std::size_t size = GetParam();
  RandomBytes random(static_cast<std::uint32_t>(size) + 1000);
  for (int round = 0; round < 16; ++round) {
    // All-ones keys and messages push every limb to its largest value before reduction.
    const auto key = round == 0 ? std::vector<std::uint8_t>(kPoly1305KeySize, 0xFF) : random(kPoly1305KeySize);
    const auto message = round <= 1 ? std::vector<std::uint8_t>(size, 0xFF) : random(size);
    std::array<std::uint8_t, kPoly1305TagSize> expected{};
    ASSERT_EQ(crypto_onetimeauth_poly1305(expected.data(), In(message), size, key.data()), 0);
    std::array<std::uint8_t, kPoly1305TagSize> tag{};
    Poly1305(tag, message.data(), size, Fixed<kPoly1305KeySize>(key));
    EXPECT_EQ(ToHex(tag.data(), tag.size()), ToHex(expected.data(), expected.size()))
        << "size " << size << " round " << round;
    EXPECT_TRUE(Poly1305Verify(expected, message.data(), size, Fixed<kPoly1305KeySize>(key)));
    expected[static_cast<std::size_t>(round)] ^= 0x10;
    EXPECT_FALSE(Poly1305Verify(expected, message.data(), size, Fixed<kPoly1305KeySize>(key)))
        << "altered tag byte " << round << " accepted";
  }
}

TEST_P(AgainstLibsodium, Salsa20StreamFromAnyBlock) {
  const std::size_t size = GetParam();
  RandomBytes random(static_cast<std::uint32_t>(size) + 2000);
  for (const std::uint64_t counter : {0ULL, 1ULL, 0xFFFFFFFFULL, 0x123456789ULL}) {
    const auto key = random(kSalsaKeySize);
    const auto nonce = random(kSalsaNonceSize);
    const auto in = random(size);
    std::vector<std::uint8_t> expected(size);
    ASSERT_EQ(crypto_stream_salsa20_xor_ic(Out(expected), In(in), size, nonce.data(), counter, key.data()), 0);
    std::vector<std::uint8_t> out(in);
    Salsa20Xor(out.data(), out.data(), size, Fixed<kSalsaKeySize>(key), Fixed<kSalsaNonceSize>(nonce), counter);
    EXPECT_EQ(ToHex(out), ToHex(expected)) << "size " << size << " counter " << counter;
  }
}

TEST(HSalsa20AgainstLibsodium, RandomKeysAndInputs) {
  ASSERT_GE(sodium_init(), 0);
  RandomBytes random;
  for (int round = 0; round < 64; ++round) {
    const auto key = random(kSalsaKeySize);
    const auto input = random(kHSalsaInputSize);
    std::array<std::uint8_t, kSalsaKeySize> expected{};
    ASSERT_EQ(crypto_core_hsalsa20(expected.data(), input.data(), key.data(), nullptr), 0);
    std::array<std::uint8_t, kSalsaKeySize> subkey{};
    HSalsa20(subkey, Fixed<kHSalsaInputSize>(input), Fixed<kSalsaKeySize>(key));
    EXPECT_EQ(ToHex(subkey.data(), subkey.size()), ToHex(expected.data(), expected.size())) << "round " << round;
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
