// The bit-sliced field arithmetic against a plain byte-at-a-time reference, over every input.

#include "ssv/sharescheme/gf256.h"
#include "tests/ssv/gf256_reference.h"
#include "tests/ssv/random_bytes.h"

#include <gtest/gtest.h>

#include <array>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::ReferenceInverse;
using testsupport::ReferenceMultiply;

// Lanes holding the 32 values first, first + step, first + 2 step, ... (mod 256).
std::array<std::uint8_t, kGf256Lanes> Progression(unsigned first, unsigned step = 1) {
  std::array<std::uint8_t, kGf256Lanes> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(first + step * i);
  }
  return bytes;
}

std::array<std::uint8_t, kGf256Lanes> Stored(const Gf256Lanes& lanes) {
  std::array<std::uint8_t, kGf256Lanes> bytes{};
  Gf256Store(lanes, bytes);
  return bytes;
}

TEST(Gf256Reference, AgreesWithTheAesFieldFacts) {
  // The reference itself must be right: {53}{CA} = {01} and {57}{83} = {C1} in the AES field.
  EXPECT_EQ(ReferenceMultiply(0x53, 0xCA), 0x01);
  EXPECT_EQ(ReferenceMultiply(0x57, 0x83), 0xC1);
  EXPECT_EQ(ReferenceMultiply(0x57, 0x13), 0xFE);
  EXPECT_EQ(ReferenceInverse(0x53), 0xCA);
  EXPECT_EQ(ReferenceInverse(0), 0);
}

TEST(Gf256, LoadAndStoreKeepEveryByteInItsLane) {
  testsupport::RandomBytes random;
  for (int round = 0; round < 100; ++round) {
    const auto bytes = random(kGf256Lanes);
    const auto lanes = Gf256Load(std::span<const std::uint8_t, kGf256Lanes>(bytes.data(), kGf256Lanes));
    const auto back = Stored(lanes);
    EXPECT_TRUE(std::equal(back.begin(), back.end(), bytes.begin())) << "round " << round;
    // Word b holds bit b of every lane: check one plane directly.
    std::uint32_t plane3 = 0;
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      plane3 |= static_cast<std::uint32_t>((bytes[i] >> 3) & 1) << i;
    }
    EXPECT_EQ(lanes.bits[3], plane3);
  }
}

TEST(Gf256, LoadHalfFillsTheFirstSixteenLanesAndClearsTheRest) {
  const auto bytes = Progression(201, 89);
  const auto stored = Stored(Gf256LoadHalf(std::span<const std::uint8_t, kGf256Lanes / 2>(bytes.data(), 16)));
  for (std::size_t i = 0; i < kGf256Lanes; ++i) {
    EXPECT_EQ(stored[i], i < 16 ? bytes[i] : 0) << "lane " << i;
  }
}

TEST(Gf256, LaneBroadcastCopiesOneLaneToAll) {
  const auto bytes = Progression(7, 37);
  const auto lanes = Gf256Load(std::span<const std::uint8_t, kGf256Lanes>(bytes.data(), kGf256Lanes));
  for (std::size_t lane = 0; lane < kGf256Lanes; ++lane) {
    const auto spread = Stored(Gf256LaneBroadcast(lanes, lane));
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      ASSERT_EQ(spread[i], bytes[lane]) << "lane " << lane << " into lane " << i;
    }
  }
}

TEST(Gf256, BroadcastFillsEveryLane) {
  for (unsigned value = 0; value < 256; ++value) {
    const auto bytes = Stored(Gf256Broadcast(static_cast<std::uint8_t>(value)));
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      ASSERT_EQ(bytes[i], value) << "lane " << i;
    }
  }
}

TEST(Gf256, AllProductsMatchTheReference) {
  for (unsigned a = 0; a < 256; ++a) {
    const Gf256Lanes left = Gf256Broadcast(static_cast<std::uint8_t>(a));
    for (unsigned firstB = 0; firstB < 256; firstB += kGf256Lanes) {
      // Shift the left operand per lane too, so lanes never all see the same a.
      const auto leftBytes = Progression(a, 7);
      const auto rightBytes = Progression(firstB);
      const auto products = Stored(Gf256Multiply(Gf256Load(leftBytes), Gf256Load(rightBytes)));
      const auto broadcastProducts = Stored(Gf256Multiply(left, Gf256Load(rightBytes)));
      for (std::size_t i = 0; i < kGf256Lanes; ++i) {
        ASSERT_EQ(products[i], ReferenceMultiply(leftBytes[i], rightBytes[i]))
            << "lane " << i << ": " << int{leftBytes[i]} << " * " << int{rightBytes[i]};
        ASSERT_EQ(broadcastProducts[i], ReferenceMultiply(static_cast<std::uint8_t>(a), rightBytes[i]))
            << a << " * " << int{rightBytes[i]};
      }
    }
  }
}

TEST(Gf256, AllInversesMatchTheReference) {
  for (unsigned first = 0; first < 256; first += kGf256Lanes) {
    const auto values = Progression(first);
    const auto inverses = Stored(Gf256Inverse(Gf256Load(values)));
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      ASSERT_EQ(inverses[i], ReferenceInverse(values[i])) << "inverse of " << int{values[i]};
      if (values[i] != 0) {
        ASSERT_EQ(ReferenceMultiply(values[i], inverses[i]), 1) << "inverse of " << int{values[i]};
      }
    }
  }
}

TEST(Gf256, AddIsXorPerLane) {
  const auto a = Progression(3, 11);
  const auto b = Progression(200, 5);
  const auto sum = Stored(Gf256Add(Gf256Load(a), Gf256Load(b)));
  for (std::size_t i = 0; i < kGf256Lanes; ++i) {
    EXPECT_EQ(sum[i], a[i] ^ b[i]) << "lane " << i;
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
