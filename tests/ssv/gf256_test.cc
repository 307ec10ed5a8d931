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
LaneBytes Progression(unsigned first, unsigned step) {
  LaneBytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(first + step * i);
  }
  return bytes;
}

LaneBytes Stored(const Gf256Lanes& lanes) {
  LaneBytes bytes{};
  Gf256Store(lanes, bytes);
  return bytes;
}

TEST(Gf256, EveryOperationMatchesTheReferenceLaneByLane) {
  ASSERT_EQ(ReferenceMultiply(0x57, 0x83), 0xC1);  // the AES field's own example
  for (unsigned a = 0; a < 256; ++a) {
    for (unsigned firstB = 0; firstB < 256; firstB += kGf256Lanes) {
      // The left operand differs per lane too, so that lanes never all see the same a.
      const LaneBytes left = Progression(a, 7);
      const LaneBytes right = Progression(firstB, 1);
      const Gf256Lanes loaded = Gf256Load(left);
      const LaneBytes products = Stored(Gf256Multiply(loaded, Gf256Load(right)));
      const LaneBytes scaled = Stored(Gf256Multiply(Gf256Broadcast(static_cast<std::uint8_t>(a)), Gf256Load(right)));
      const LaneBytes inverses = Stored(Gf256Inverse(Gf256Load(right)));
      const LaneBytes sums = Stored(Gf256Add(loaded, Gf256Load(right)));
      const LaneBytes half = Stored(Gf256LoadHalf(std::span<const std::uint8_t, kGf256Lanes / 2>(left.data(), 16)));
      const LaneBytes lane = Stored(Gf256LaneBroadcast(loaded, a % kGf256Lanes));
      for (std::size_t i = 0; i < kGf256Lanes; ++i) {
        ASSERT_EQ(products[i], ReferenceMultiply(left[i], right[i])) << int{left[i]} << " * " << int{right[i]};
        ASSERT_EQ(scaled[i], ReferenceMultiply(static_cast<std::uint8_t>(a), right[i])) << a << " * " << int{right[i]};
        ASSERT_EQ(inverses[i], ReferenceInverse(right[i])) << "inverse of " << int{right[i]};
        ASSERT_EQ(sums[i], left[i] ^ right[i]);
        ASSERT_EQ(half[i], i < 16 ? left[i] : 0) << "lane " << i;
        ASSERT_EQ(lane[i], left[a % kGf256Lanes]) << "lane " << i;
      }
    }
  }
}

}  // namespace
}  // namespace QVCryptoService::sharescheme
