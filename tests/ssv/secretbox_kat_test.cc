// The secret box and its parts against published known answers (NaCl, RFC 8439) and its
// refusal of buffers too short for the padded layout.

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "ssv/sharescheme/secretbox.h"
#include "tests/ssv/kat_file.h"
#include "tests/ssv/secretbox_support.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using namespace testing_support;
using testsupport::ToHex;

const char kKatFile[] = "tests/ssv/data/secretbox_kat.txt";

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
