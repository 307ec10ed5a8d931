// The bit-sliced field arithmetic against a plain byte-at-a-time reference, over every input.

#include "ssv/sharescheme/gf256.h"
#include "tests/ssv/gf256_reference.h"

#include <gtest/gtest.h>

#include <array>

namespace QVCryptoService::sharescheme {
namespace {

using testsupport::ReferenceInverse;
using testsupport::ReferenceMultiply;
using LaneBytes = std::array<std::uint8_t, kGf256Lanes>;

// Lanes holding first, first + step, first + 2 step, ... (mod 256).
LaneBytes Progression(unsigned first, unsigned step = 1) {
  LaneBytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(first + step * i);
  }
  return bytes;
}

LaneBytes Filled(unsigned value) {
  LaneBytes bytes{};
  bytes.fill(static_cast<std::uint8_t>(value));
  return bytes;
}

LaneBytes Stored(const Gf256Lanes& lanes) {
  LaneBytes bytes{};
  Gf256Store(lanes, bytes);
  return bytes;
}

TEST(Gf256Reference, AgreesWithTheAesFieldFacts) {
  EXPECT_EQ(ReferenceMultiply(0x53, 0xCA), 0x01);
  EXPECT_EQ(ReferenceMultiply(0x57, 0x83), 0xC1);
  EXPECT_EQ(ReferenceInverse(0x53), 0xCA);
  EXPECT_EQ(ReferenceInverse(0), 0);
}

TEST(Gf256, LoadsStoresBroadcastsAndAddsLaneByLane) {
  const LaneBytes a = Progression(7, 37);
  const LaneBytes b = Progression(200, 5);
  const Gf256Lanes lanes = Gf256Load(a);
  EXPECT_EQ(Stored(lanes), a);
  std::uint32_t plane3 = 0;  // word b holds bit b of every lane
  for (std::size_t i = 0; i < kGf256Lanes; ++i) {
    plane3 |= static_cast<std::uint32_t>((a[i] >> 3) & 1) << i;
  }
  EXPECT_EQ(lanes.bits[3], plane3);
  const LaneBytes half = Stored(Gf256LoadHalf(std::span<const std::uint8_t, kGf256Lanes / 2>(a.data(), 16)));
  const LaneBytes sum = Stored(Gf256Add(lanes, Gf256Load(b)));
  for (std::size_t i = 0; i < kGf256Lanes; ++i) {
    EXPECT_EQ(half[i], i < 16 ? a[i] : 0) << "lane " << i;
    EXPECT_EQ(sum[i], a[i] ^ b[i]) << "lane " << i;
    EXPECT_EQ(Stored(Gf256LaneBroadcast(lanes, i)), Filled(a[i])) << "lane " << i;
  }
  for (unsigned value = 0; value < 256; ++value) {
    ASSERT_EQ(Stored(Gf256Broadcast(static_cast<std::uint8_t>(value))), Filled(value)) << value;
  }
}

TEST(Gf256, AllProductsAndInversesMatchTheReference) {
  for (unsigned a = 0; a < 256; ++a) {
    for (unsigned firstB = 0; firstB < 256; firstB += kGf256Lanes) {
      // The left operand differs per lane too, so that lanes never all see the same a.
      const LaneBytes left = Progression(a, 7);
      const LaneBytes right = Progression(firstB);
      const LaneBytes products = Stored(Gf256Multiply(Gf256Load(left), Gf256Load(right)));
      const LaneBytes scaled = Stored(Gf256Multiply(Gf256Broadcast(static_cast<std::uint8_t>(a)), Gf256Load(right)));
      for (std::size_t i = 0; i < kGf256Lanes; ++i) {
        ASSERT_EQ(products[i], ReferenceMultiply(left[i], right[i])) << int{left[i]} << " * " << int{right[i]};
        ASSERT_EQ(scaled[i], ReferenceMultiply(static_cast<std::uint8_t>(a), right[i])) << a << " * " << int{right[i]};
      }
    }
  }
  for (unsigned first = 0; first < 256; first += kGf256Lanes) {
    const LaneBytes values = Progression(first);
    const LaneBytes inverses = Stored(Gf256Inverse(Gf256Load(values)));
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      ASSERT_EQ(inverses[i], ReferenceInverse(values[i])) << "inverse of " << int{values[i]};
    }
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
