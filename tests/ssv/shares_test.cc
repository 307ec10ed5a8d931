// Key shares and shares: layout against independent computations, recombination in every
// order, and refusal of every altered byte.

#include "ssv/sharescheme/shares.h"
#include "ssv/sharescheme/key_shares.h"
#include "tests/ssv/gf256_reference.h"
#include "tests/ssv/random_bytes.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <vector>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::ReferenceMultiply;
using testsupport::ToHex;

// A random source that replays a prepared stream and records how much was asked for; it can be
// told to fail on a given call.
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

void PrepareRandom(std::vector<std::uint8_t> stream, int failOnCall = -1) {
  g_random = ReplayedRandom{std::move(stream), 0, 0, failOnCall};
}

using ShareBytes = std::array<std::uint8_t, kShareCount * kShareSize>;

std::array<ShareView, kShareCount> Views(const ShareBytes& bytes, const std::array<std::size_t, kShareCount>& order) {
  const auto at = [&](std::size_t i) { return ShareView(bytes.data() + order[i] * kShareSize, kShareSize); };
  return {at(0), at(1), at(2), at(3), at(4)};
}

constexpr std::array<std::size_t, kShareCount> kInOrder = {0, 1, 2, 3, 4};

class ShareScheme : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(sodium_init(), 0);
    testsupport::RandomBytes random;
    m_message = random(kShareMessageSize);
    m_stream = random(32 + 128);
    PrepareRandom(m_stream);
    ASSERT_TRUE(CreateShares(std::span<const std::uint8_t, kShareMessageSize>(m_message.data(), kShareMessageSize),
                             m_shares, &Replay));
  }

  std::vector<std::uint8_t> m_message;
  std::vector<std::uint8_t> m_stream;
  ShareBytes m_shares{};
};

TEST_F(ShareScheme, LayoutMatchesAnIndependentComputation) {
  ASSERT_EQ(g_random.calls, 2) << "box key, then coefficients";
  ASSERT_EQ(g_random.used, m_stream.size());
  const std::uint8_t* boxKey = m_stream.data();
  const std::uint8_t* coefficients = m_stream.data() + 32;
  // The box part of every share is libsodium's secretbox of the message under the box key and
  // the zero nonce: tag, then cipher text.
  std::vector<std::uint8_t> expectedTail(crypto_secretbox_MACBYTES + m_message.size());
  const std::array<std::uint8_t, crypto_secretbox_NONCEBYTES> zeroNonce{};
  ASSERT_EQ(crypto_secretbox_easy(expectedTail.data(), m_message.data(), m_message.size(), zeroNonce.data(), boxKey),
            0);

  for (std::size_t m = 0; m < kShareCount; ++m) {
    const std::uint8_t* share = m_shares.data() + m * kShareSize;
    const auto x = static_cast<std::uint8_t>(m + 1);
    EXPECT_EQ(share[0], x) << "share " << m;
    for (std::size_t i = 0; i < kSharedKeySize; ++i) {
      // P_i(x) = K[i] + c1[i] x + c2[i] x^2 + c3[i] x^3 + c4[i] x^4
      std::uint8_t value = boxKey[i];
      std::uint8_t power = x;
      for (std::size_t c = 0; c < 4; ++c) {
        value ^= ReferenceMultiply(coefficients[32 * c + i], power);
        power = ReferenceMultiply(power, x);
      }
      ASSERT_EQ(share[1 + i], value) << "share " << m << " key byte " << i;
    }
    EXPECT_EQ(ToHex(share + kShareBoxOffset, kShareBoxSize), ToHex(expectedTail)) << "share " << m;
  }
}

TEST_F(ShareScheme, EveryOrderOfTheFiveSharesRecoversTheMessage) {
  std::array<std::size_t, kShareCount> order = kInOrder;
  int orders = 0;
  do {
    std::array<std::uint8_t, kShareMessageSize> message{};
    ASSERT_EQ(CombineShares(Views(m_shares, order), message), 0)
        << "order " << order[0] << order[1] << order[2] << order[3] << order[4];
    ASSERT_TRUE(std::equal(message.begin(), message.end(), m_message.begin()));
    ++orders;
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(orders, 120);
}

TEST_F(ShareScheme, AnyAlteredByteOfAnyShareFails) {
  for (std::size_t m = 0; m < kShareCount; ++m) {
    for (std::size_t at = 0; at < kShareSize; ++at) {
      for (const int flip : {0x01, 0x80, 0xFF}) {
        ShareBytes damaged = m_shares;
        damaged[m * kShareSize + at] ^= static_cast<std::uint8_t>(flip);
        std::array<std::uint8_t, kShareMessageSize> message{};
        message.fill(0x5A);
        const auto untouched = message;
        ASSERT_EQ(CombineShares(Views(damaged, kInOrder), message), -1)
            << "share " << m << " byte " << at << " xor " << flip;
        ASSERT_EQ(message, untouched) << "a failed combination wrote output";
      }
    }
  }
}

TEST_F(ShareScheme, SwappingOnlyTheXBytesOfTwoSharesFailsUnlessTheirBasesAtZeroCoincide) {
  // With x = 1..5 in GF(2^8), the Lagrange bases at zero of x = 2 and x = 3 are equal (both
  // (4*5)/(6*7)), and so are those of x = 4 and x = 5: swapping just those x bytes gives the same
  // key back. Every other pair interpolates a wrong key and fails.
  for (std::size_t a = 0; a < kShareCount; ++a) {
    for (std::size_t b = a + 1; b < kShareCount; ++b) {
      ShareBytes swapped = m_shares;
      std::swap(swapped[a * kShareSize], swapped[b * kShareSize]);
      std::array<std::uint8_t, kShareMessageSize> message{};
      const bool sameBasis = (a == 1 && b == 2) || (a == 3 && b == 4);
      EXPECT_EQ(CombineShares(Views(swapped, kInOrder), message), sameBasis ? 0 : -1)
          << "x of shares " << a << " and " << b;
      if (sameBasis) {
        EXPECT_TRUE(std::equal(message.begin(), message.end(), m_message.begin()));
      }
    }
  }
}

TEST_F(ShareScheme, TwoSharesWithTheSameXFail) {
  ShareBytes twice = m_shares;
  std::copy_n(m_shares.begin(), kShareSize, twice.begin() + kShareSize);
  std::array<std::uint8_t, kShareMessageSize> message{};
  EXPECT_EQ(CombineShares(Views(twice, kInOrder), message), -1);
}

TEST_F(ShareScheme, SharesOfTheSameMessageUnderAnotherBoxKeyDoNotMix) {
  auto stream = m_stream;
  stream[0] ^= 1;  // another box key, same coefficients
  PrepareRandom(stream);
  ShareBytes other{};
  ASSERT_TRUE(CreateShares(std::span<const std::uint8_t, kShareMessageSize>(m_message.data(), kShareMessageSize), other,
                           &Replay));
  for (std::size_t m = 0; m < kShareCount; ++m) {
    ShareBytes mixed = m_shares;
    std::copy_n(other.begin() + static_cast<std::ptrdiff_t>(m * kShareSize), kShareSize,
                mixed.begin() + static_cast<std::ptrdiff_t>(m * kShareSize));
    std::array<std::uint8_t, kShareMessageSize> message{};
    EXPECT_EQ(CombineShares(Views(mixed, kInOrder), message), -1) << "share " << m << " from the other split";
  }
}

TEST(ShareCreation, ReportsAFailingRandomSource) {
  const std::vector<std::uint8_t> message(kShareMessageSize, 7);
  for (const int failing : {0, 1}) {
    PrepareRandom(std::vector<std::uint8_t>(160, 3), failing);
    ShareBytes shares{};
    EXPECT_FALSE(CreateShares(std::span<const std::uint8_t, kShareMessageSize>(message.data(), kShareMessageSize),
                              shares, &Replay))
        << "failure on random call " << failing;
  }
}

TEST(KeyShares, CombineInverseOfCreateForManyKeys) {
  testsupport::RandomBytes random(99);
  for (int round = 0; round < 50; ++round) {
    const auto key = random(kSharedKeySize);
    PrepareRandom(random(128));
    std::array<std::uint8_t, kKeyShareCount * kKeyShareSize> shares{};
    ASSERT_TRUE(
        CreateKeyShares(std::span<const std::uint8_t, kSharedKeySize>(key.data(), kSharedKeySize), shares, &Replay));
    const auto at = [&](std::size_t i) { return KeyShareView(shares.data() + i * kKeyShareSize, kKeyShareSize); };
    std::array<std::uint8_t, kSharedKeySize> combined{};
    CombineKeyShares({at(4), at(2), at(0), at(3), at(1)}, combined);
    EXPECT_EQ(ToHex(combined.data(), combined.size()), ToHex(key)) << "round " << round;
  }
}

TEST(KeyShares, ZeroCoefficientsGiveTheKeyInEveryShare) {
  // With P(X) = K the sharing is trivial, which pins down the constant term and the x bytes.
  const std::vector<std::uint8_t> key = testsupport::RandomBytes(5)(kSharedKeySize);
  PrepareRandom(std::vector<std::uint8_t>(128, 0));
  std::array<std::uint8_t, kKeyShareCount * kKeyShareSize> shares{};
  ASSERT_TRUE(
      CreateKeyShares(std::span<const std::uint8_t, kSharedKeySize>(key.data(), kSharedKeySize), shares, &Replay));
  for (std::size_t m = 0; m < kKeyShareCount; ++m) {
    EXPECT_EQ(shares[m * kKeyShareSize], m + 1);
    EXPECT_EQ(ToHex(shares.data() + m * kKeyShareSize + 1, kSharedKeySize), ToHex(key)) << "share " << m;
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
