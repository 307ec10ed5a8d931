// The secret box and its parts against known answers (NaCl, RFC 8439, libsodium).

#include "ssv/sharescheme/poly1305.h"
#include "ssv/sharescheme/salsa20.h"
#include "ssv/sharescheme/secretbox.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::FromHex;
using testsupport::ReadDataTable;
using testsupport::ToHex;
using Bytes = std::vector<std::uint8_t>;

template <std::size_t N>
std::span<const std::uint8_t, N> Fixed(const Bytes& bytes) {
  EXPECT_EQ(bytes.size(), N);
  return std::span<const std::uint8_t, N>(bytes.data(), N);
}

// The tables give the box and the plain text without their leading padding.
TEST(SecretboxKnownAnswers, SealAndOpen) {
  for (const auto& row : ReadDataTable("ssv_secretbox.tsv")) {
    const Bytes nonceBytes = FromHex(row["nonce"]);
    const Bytes keyBytes = FromHex(row["key"]);
    const auto nonce = Fixed<kSecretboxNonceSize>(nonceBytes);
    const auto key = Fixed<kSecretboxKeySize>(keyBytes);
    Bytes plain(kSecretboxPlainPadding, 0xEE);
    const Bytes message = FromHex(row["message"]);
    plain.insert(plain.end(), message.begin(), message.end());
    Bytes box(plain.size(), 0x55);
    ASSERT_TRUE(SecretboxSeal(box, plain, nonce, key)) << row.where;
    EXPECT_EQ(ToHex(box), std::string(2 * kSecretboxBoxPadding, '0') + row["box"]) << row.where;
    Bytes opened(box.size(), 0x77);
    ASSERT_TRUE(SecretboxOpen(opened, box, nonce, key)) << row.where;
    EXPECT_EQ(ToHex(opened), std::string(2 * kSecretboxPlainPadding, '0') + row["message"]) << row.where;
    box.back() ^= 1;
    opened.assign(box.size(), 0x77);
    EXPECT_FALSE(SecretboxOpen(opened, box, nonce, key)) << row.where;
    EXPECT_EQ(opened, Bytes(box.size(), 0x77)) << "a refused box wrote plain text";
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
    Bytes out(size, 0xAB);
    EXPECT_FALSE(SecretboxSeal(out, Bytes(size), nonce, key) || SecretboxOpen(out, Bytes(size), nonce, key)) << size;
    EXPECT_EQ(out, Bytes(size, 0xAB)) << "size " << size;
  }
  Bytes shorter(63, 0);
  EXPECT_FALSE(SecretboxSeal(shorter, Bytes(64), nonce, key));
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
