// The secret box and its parts against libsodium, which serves only as an oracle here, and
// against published known answers.

#include "ssv/sharescheme/secretbox.h"
#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "tests/ssv/kat_file.h"
#include "tests/ssv/random_bytes.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::RandomBytes;
using testsupport::ToHex;

const char kKatFile[] = "tests/ssv/data/secretbox_kat.txt";

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

template <std::size_t N>
std::span<const std::uint8_t, N> Fixed(const std::vector<std::uint8_t>& bytes) {
  EXPECT_EQ(bytes.size(), N);
  return std::span<const std::uint8_t, N>(bytes.data(), N);
}

// SealPadded seals `message` in the padded layout and returns the box without its 16 zeros.
std::vector<std::uint8_t> SealPadded(const std::vector<std::uint8_t>& message, const std::vector<std::uint8_t>& nonce,
                                     const std::vector<std::uint8_t>& key) {
  std::vector<std::uint8_t> plain(kSecretboxPlainPadding, 0xEE);  // padding content must not matter
  plain.insert(plain.end(), message.begin(), message.end());
  std::vector<std::uint8_t> box(plain.size(), 0x55);
  EXPECT_TRUE(SecretboxSeal(box, plain, Fixed<kSecretboxNonceSize>(nonce), Fixed<kSecretboxKeySize>(key)));
  EXPECT_EQ(ToHex(box.data(), kSecretboxBoxPadding), std::string(2 * kSecretboxBoxPadding, '0'));
  return std::vector<std::uint8_t>(box.begin() + kSecretboxBoxPadding, box.end());
}

// OpenPadded opens a box given without its 16 zeros; nullopt when it does not authenticate.
std::optional<std::vector<std::uint8_t>> OpenPadded(const std::vector<std::uint8_t>& tagAndCipher,
                                                    const std::vector<std::uint8_t>& nonce,
                                                    const std::vector<std::uint8_t>& key) {
  std::vector<std::uint8_t> box(kSecretboxBoxPadding, 0);
  box.insert(box.end(), tagAndCipher.begin(), tagAndCipher.end());
  std::vector<std::uint8_t> plain(box.size(), 0x77);
  if (!SecretboxOpen(plain, box, Fixed<kSecretboxNonceSize>(nonce), Fixed<kSecretboxKeySize>(key))) {
    EXPECT_EQ(plain, std::vector<std::uint8_t>(box.size(), 0x77)) << "a refused box wrote plain text";
    return std::nullopt;
  }
  EXPECT_EQ(ToHex(plain.data(), kSecretboxPlainPadding), std::string(2 * kSecretboxPlainPadding, '0'));
  return std::vector<std::uint8_t>(plain.begin() + kSecretboxPlainPadding, plain.end());
}

TEST(SecretboxKnownAnswers, SealAndOpenTheNaclVector) {
  const auto cases = testsupport::KatCasesIn(testsupport::ReadKatFile(kKatFile), "secretbox");
  ASSERT_FALSE(cases.empty());
  for (const auto& c : cases) {
    const auto& key = c.Field("Key");
    const auto& nonce = c.Field("Nonce");
    EXPECT_EQ(ToHex(SealPadded(c.Field("Message"), nonce, key)), ToHex(c.Field("Box"))) << "line " << c.line;
    const auto opened = OpenPadded(c.Field("Box"), nonce, key);
    ASSERT_TRUE(opened.has_value()) << "line " << c.line;
    EXPECT_EQ(ToHex(*opened), ToHex(c.Field("Message"))) << "line " << c.line;
  }
}

TEST(SecretboxKnownAnswers, EveryAlteredByteOfTheNaclBoxIsRefused) {
  const auto cases = testsupport::KatCasesIn(testsupport::ReadKatFile(kKatFile), "secretbox");
  ASSERT_FALSE(cases.empty());
  const auto& c = cases.front();
  for (std::size_t at = 0; at < c.Field("Box").size(); ++at) {
    for (const int flip : {0x01, 0x80}) {
      auto damaged = c.Field("Box");
      damaged[at] ^= static_cast<std::uint8_t>(flip);
      EXPECT_FALSE(OpenPadded(damaged, c.Field("Nonce"), c.Field("Key")).has_value())
          << "byte " << at << " xor " << flip << " was accepted";
    }
  }
}

TEST(SecretboxKnownAnswers, HSalsa20) {
  const auto cases = testsupport::KatCasesIn(testsupport::ReadKatFile(kKatFile), "hsalsa20");
  ASSERT_EQ(cases.size(), 2U);
  for (const auto& c : cases) {
    std::array<std::uint8_t, kSalsaKeySize> subkey{};
    HSalsa20(subkey, Fixed<kHSalsaInputSize>(c.Field("Input")), Fixed<kSalsaKeySize>(c.Field("Key")));
    EXPECT_EQ(ToHex(subkey.data(), subkey.size()), ToHex(c.Field("Output"))) << "line " << c.line;
  }
}

TEST(SecretboxKnownAnswers, Poly1305) {
  const auto cases = testsupport::KatCasesIn(testsupport::ReadKatFile(kKatFile), "poly1305");
  ASSERT_EQ(cases.size(), 3U);
  for (const auto& c : cases) {
    const auto& message = c.Field("Message");
    std::array<std::uint8_t, kPoly1305TagSize> tag{};
    Poly1305(tag, message.data(), message.size(), Fixed<kPoly1305KeySize>(c.Field("Key")));
    EXPECT_EQ(ToHex(tag.data(), tag.size()), ToHex(c.Field("Tag"))) << "line " << c.line;
    EXPECT_TRUE(Poly1305Verify(Fixed<kPoly1305TagSize>(c.Field("Tag")), message.data(), message.size(),
                               Fixed<kPoly1305KeySize>(c.Field("Key"))))
        << "line " << c.line;
  }
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

TEST(SecretboxLayout, RefusesBuffersShorterThanThePadding) {
  const std::array<std::uint8_t, kSecretboxKeySize> key{};
  const std::array<std::uint8_t, kSecretboxNonceSize> nonce{};
  for (std::size_t size = 0; size < kSecretboxPlainPadding; ++size) {
    std::vector<std::uint8_t> in(size, 0);
    std::vector<std::uint8_t> out(size, 0xAB);
    EXPECT_FALSE(SecretboxSeal(out, in, nonce, key)) << "size " << size;
    EXPECT_FALSE(SecretboxOpen(out, in, nonce, key)) << "size " << size;
    EXPECT_EQ(out, std::vector<std::uint8_t>(size, 0xAB)) << "size " << size;
  }
  std::vector<std::uint8_t> in(64, 0);
  std::vector<std::uint8_t> shorter(63, 0);
  EXPECT_FALSE(SecretboxSeal(shorter, in, nonce, key)) << "output of another size";
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
