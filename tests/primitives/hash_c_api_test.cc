#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

namespace QVCryptoService {
namespace {

std::array<unsigned char, 32> OneShotSha256(const std::string& data) {
  std::array<unsigned char, 32> digest{};
  int length = 32;
  EXPECT_EQ(EVPDigest("sha256", reinterpret_cast<const unsigned char*>(data.data()), static_cast<int>(data.size()),
                      digest.data(), length),
            PXA_OK);
  return digest;
}

TEST(QVHashCApi, ChunkedUpdatesMatchOneShotDigest) {
  std::string data(10000, '\0');
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<char>(i % 251);
  }
  for (const std::size_t chunk : {1U, 7U, 64U, 1000U, 10000U}) {
    QVHashCtx ctx = QVHashInitCtx();
    ASSERT_NE(ctx, nullptr);
    for (std::size_t offset = 0; offset < data.size(); offset += chunk) {
      const std::size_t n = std::min(chunk, data.size() - offset);
      ASSERT_TRUE(QVHashUpdate(ctx, reinterpret_cast<const unsigned char*>(data.data()) + offset, n));
    }
    std::array<unsigned char, 32> digest{};
    ASSERT_TRUE(QVHashFinal(ctx, digest.data()));
    EXPECT_EQ(digest, OneShotSha256(data)) << "chunk " << chunk;
  }
}

TEST(QVHashCApi, NoUpdatesGiveTheDigestOfNothing) {
  QVHashCtx ctx = QVHashInitCtx();
  ASSERT_NE(ctx, nullptr);
  EXPECT_TRUE(QVHashUpdate(ctx, nullptr, 0));
  std::array<unsigned char, 32> digest{};
  ASSERT_TRUE(QVHashFinal(ctx, digest.data()));
  EXPECT_EQ(digest, OneShotSha256(""));
}

TEST(QVHashCApi, HandleWithWrongMagicIsRefusedAndUntouched) {
  std::array<unsigned char, 64> fake{};
  fake.fill(0x5C);
  const auto before = fake;
  auto* handle = reinterpret_cast<QVHashCtx>(fake.data());
  const unsigned char data[4] = {1, 2, 3, 4};
  EXPECT_FALSE(QVHashUpdate(handle, data, sizeof data));
  std::array<unsigned char, 32> digest{};
  EXPECT_FALSE(QVHashFinal(handle, digest.data()));
  EXPECT_EQ(fake, before);
  EXPECT_EQ(digest, (std::array<unsigned char, 32>{}));
  EXPECT_FALSE(QVHashUpdate(nullptr, data, sizeof data));
  EXPECT_FALSE(QVHashFinal(nullptr, digest.data()));
}

TEST(QVHashCApi, FailedFinalLeavesHandleUsableForAnotherFinal) {
  QVHashCtx ctx = QVHashInitCtx();
  ASSERT_NE(ctx, nullptr);
  ASSERT_TRUE(QVHashUpdate(ctx, reinterpret_cast<const unsigned char*>("abc"), 3));
  EXPECT_FALSE(QVHashFinal(ctx, nullptr));
  std::array<unsigned char, 32> digest{};
  ASSERT_TRUE(QVHashFinal(ctx, digest.data()));
  EXPECT_EQ(digest, OneShotSha256("abc"));
}

}  // namespace
}  // namespace QVCryptoService
