#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace QVCryptoService {
namespace {

using Digest = std::array<unsigned char, 32>;

Digest OneShotSha256(const std::string& data) {
  Digest digest{};
  int length = 32;
  EXPECT_EQ(EVPDigest("sha256", reinterpret_cast<const unsigned char*>(data.data()), static_cast<int>(data.size()),
                      digest.data(), length),
            PXA_OK);
  return digest;
}

TEST(QVHashCApi, ChunkedUpdatesMatchTheOneShotDigest) {
  std::string data(1000, '\0');
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<char>(i % 251);
  }
  for (const std::size_t chunk : {0U, 1U, 7U, 64U, 1000U}) {
    QVHashCtx ctx = QVHashInitCtx();
    ASSERT_NE(ctx, nullptr);
    const std::string hashed = chunk == 0 ? "" : data;
    for (std::size_t offset = 0; offset < hashed.size(); offset += chunk) {
      const std::size_t n = std::min(chunk, hashed.size() - offset);
      ASSERT_TRUE(QVHashUpdate(ctx, reinterpret_cast<const unsigned char*>(hashed.data()) + offset, n));
    }
    EXPECT_TRUE(QVHashUpdate(ctx, nullptr, 0));
    EXPECT_FALSE(QVHashFinal(ctx, nullptr)) << "a failed final leaves the handle for another";
    Digest digest{};
    ASSERT_TRUE(QVHashFinal(ctx, digest.data()));
    EXPECT_EQ(digest, OneShotSha256(hashed)) << "chunk " << chunk;
  }
}

TEST(QVHashCApi, HandleWithWrongMagicIsRefusedAndUntouched) {
  std::array<unsigned char, 64> fake{};
  fake.fill(0x5C);
  const auto before = fake;
  auto* handle = reinterpret_cast<QVHashCtx>(fake.data());
  const unsigned char data[4] = {1, 2, 3, 4};
  Digest digest{};
  EXPECT_FALSE(QVHashUpdate(handle, data, sizeof data));
  EXPECT_FALSE(QVHashFinal(handle, digest.data()));
  EXPECT_EQ(fake, before);
  EXPECT_EQ(digest, Digest{});
  EXPECT_FALSE(QVHashUpdate(nullptr, data, sizeof data));
  EXPECT_FALSE(QVHashFinal(nullptr, digest.data()));
}

}  // namespace
}  // namespace QVCryptoService
