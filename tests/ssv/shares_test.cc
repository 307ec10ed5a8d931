// Shares against an independent computation, recombined in every order, refused when altered.

#include "ssv/sharescheme/shares.h"
#include "ssv/sharescheme/key_shares.h"
#include "tests/ssv/gf256_reference.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <random>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::ToHex;

// A random source that replays a prepared stream; it can be told to fail on a given call.
struct ReplayedRandom {
  std::vector<std::uint8_t> stream;
  std::size_t used = 0;
  int calls = 0;
  int failOnCall = -1;
};
ReplayedRandom g_random;

bool Replay(std::uint8_t* out, std::size_t size) {
  if (g_random.calls++ == g_random.failOnCall || g_random.used + size > g_random.stream.size()) {
    return false;
  }
  std::copy_n(g_random.stream.begin() + static_cast<std::ptrdiff_t>(g_random.used), size, out);
  g_random.used += size;
  return true;
}

using ShareBytes = std::array<std::uint8_t, kShareCount * kShareSize>;
using Message = std::array<std::uint8_t, kShareMessageSize>;

int Combine(const ShareBytes& bytes, const std::array<std::size_t, kShareCount>& order, Message& message) {
  const auto at = [&](std::size_t i) { return ShareView(bytes.data() + order[i] * kShareSize, kShareSize); };
  return CombineShares({at(0), at(1), at(2), at(3), at(4)}, message);
}

constexpr std::array<std::size_t, kShareCount> kInOrder = {0, 1, 2, 3, 4};

class ShareScheme : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(sodium_init(), 0);
    std::mt19937 random(20240229);  // fixed, so that a failing case repeats
    m_message.resize(kShareMessageSize);
    m_stream.resize(32 + 128);  // the box key, then four coefficients per key byte
    for (auto* bytes : {&m_message, &m_stream}) {
      std::generate(bytes->begin(), bytes->end(), [&random] { return static_cast<std::uint8_t>(random()); });
    }
    g_random = ReplayedRandom{m_stream};
    ASSERT_TRUE(CreateShares(std::span<const std::uint8_t, kShareMessageSize>(m_message.data(), kShareMessageSize),
                             m_shares, &Replay));
    EXPECT_EQ(g_random.used, m_stream.size());
  }

  std::vector<std::uint8_t> m_message;
  std::vector<std::uint8_t> m_stream;
  ShareBytes m_shares{};
};

TEST_F(ShareScheme, LayoutMatchesAnIndependentComputation) {
  const std::uint8_t* boxKey = m_stream.data();
  const std::uint8_t* coefficients = m_stream.data() + 32;
  // The box part of every share is libsodium's secretbox of the message under the box key and
  // the zero nonce.
  std::vector<std::uint8_t> box(crypto_secretbox_MACBYTES + m_message.size());
  const std::array<std::uint8_t, crypto_secretbox_NONCEBYTES> zeroNonce{};
  ASSERT_EQ(crypto_secretbox_easy(box.data(), m_message.data(), m_message.size(), zeroNonce.data(), boxKey), 0);
  for (std::size_t m = 0; m < kShareCount; ++m) {
    const std::uint8_t* share = m_shares.data() + m * kShareSize;
    const auto x = static_cast<std::uint8_t>(m + 1);
    EXPECT_EQ(share[0], x) << "share " << m;
    for (std::size_t i = 0; i < kSharedKeySize; ++i) {  // K[i] + c1[i] x + ... + c4[i] x^4
      std::uint8_t value = boxKey[i];
      std::uint8_t power = x;
      for (std::size_t c = 0; c < 4; ++c) {
        value ^= testsupport::ReferenceMultiply(coefficients[32 * c + i], power);
        power = testsupport::ReferenceMultiply(power, x);
      }
      ASSERT_EQ(share[1 + i], value) << "share " << m << " key byte " << i;
    }
    EXPECT_EQ(ToHex(share + kShareBoxOffset, kShareBoxSize), ToHex(box)) << "share " << m;
  }
}

TEST_F(ShareScheme, EveryOrderOfTheFiveSharesRecoversTheMessage) {
  std::array<std::size_t, kShareCount> order = kInOrder;
  do {
    Message message{};
    ASSERT_EQ(Combine(m_shares, order, message), 0)
        << "order " << order[0] << order[1] << order[2] << order[3] << order[4];
    ASSERT_TRUE(std::equal(message.begin(), message.end(), m_message.begin()));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ShareScheme, AnyAlteredByteOfAnyShareFailsAndWritesNothing) {
  for (std::size_t at = 0; at < m_shares.size(); ++at) {
    for (const int flip : {0x01, 0x80}) {
      ShareBytes damaged = m_shares;
      damaged[at] ^= static_cast<std::uint8_t>(flip);
      Message message{};
      message.fill(0x5A);
      ASSERT_EQ(Combine(damaged, kInOrder, message), -1) << "byte " << at << " xor " << flip;
      ASSERT_TRUE(std::all_of(message.begin(), message.end(), [](std::uint8_t b) { return b == 0x5A; }));
    }
  }
}

TEST_F(ShareScheme, CreationReportsAFailingRandomSource) {
  for (const int failing : {0, 1}) {
    g_random = ReplayedRandom{m_stream, 0, 0, failing};
    EXPECT_FALSE(CreateShares(std::span<const std::uint8_t, kShareMessageSize>(m_message.data(), kShareMessageSize),
                              m_shares, &Replay))
        << "failure on random call " << failing;
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
