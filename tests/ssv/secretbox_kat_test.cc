// The secret box and its parts against published known answers (NaCl, RFC 8439), and its
// refusal of buffers too short for the padded layout.

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "ssv/sharescheme/secretbox.h"
#include "tests/ssv/secretbox_support.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using namespace testing_support;
using testsupport::FromHex;
using testsupport::ReadDataTable;

TEST(SecretboxKnownAnswers, SealAndOpen) {
  for (const auto& row : ReadDataTable("ssv_secretbox.tsv")) {
    const auto key = FromHex(row["key"]);
    const auto nonce = FromHex(row["nonce"]);
    EXPECT_EQ(ToHex(SealPadded(FromHex(row["message"]), nonce, key)), row["box"]) << row.where;
    const auto opened = OpenPadded(FromHex(row["box"]), nonce, key);
    ASSERT_TRUE(opened.has_value()) << row.where;
    EXPECT_EQ(ToHex(*opened), row["message"]) << row.where;
  }
}

TEST(SecretboxKnownAnswers, HSalsa20) {
  for (const auto& row : ReadDataTable("ssv_hsalsa20.tsv")) {
    std::array<std::uint8_t, kSalsaKeySize> subkey{};
    HSalsa20(subkey, Fixed<kHSalsaInputSize>(FromHex(row["input"])), Fixed<kSalsaKeySize>(FromHex(row["key"])));
    EXPECT_EQ(ToHex(subkey.data(), subkey.size()), row["output"]) << row.where;
  }
}

TEST(SecretboxKnownAnswers, Poly1305) {
  for (const auto& row : ReadDataTable("ssv_poly1305.tsv")) {
    const auto message = FromHex(row["message"]);
    const auto key = FromHex(row["key"]);
    std::array<std::uint8_t, kPoly1305TagSize> tag{};
    Poly1305(tag, message.data(), message.size(), Fixed<kPoly1305KeySize>(key));
    EXPECT_EQ(ToHex(tag.data(), tag.size()), row["tag"]) << row.where;
    EXPECT_TRUE(Poly1305Verify(tag, message.data(), message.size(), Fixed<kPoly1305KeySize>(key))) << row.where;
    tag[15] ^= 0x80;
    EXPECT_FALSE(Poly1305Verify(tag, message.data(), message.size(), Fixed<kPoly1305KeySize>(key))) << row.where;
  }
}

TEST(SecretboxLayout, RefusesBuffersShorterThanThePaddingOrOfAnotherSize) {
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
  EXPECT_FALSE(SecretboxSeal(shorter, in, nonce, key));
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
