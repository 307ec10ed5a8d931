#pragma once

// Mask helpers for code whose control flow and memory accesses must not depend on secrets: a
// condition becomes an all-ones or all-zeros word, and the word selects instead of a branch.

#include <cstddef>
#include <cstdint>

namespace QVCryptoService::sharescheme {

// MaskFromBit is all ones when the lowest bit of `value` is set, else zero.
constexpr std::uint32_t MaskFromBit(std::uint32_t value) { return 0U - (value & 1U); }

// MaskIfNegative is all ones when `value`, read as a signed 32-bit number, is negative.
constexpr std::uint32_t MaskIfNegative(std::uint32_t value) { return 0U - (value >> 31); }

// MaskIfZero is all ones when `value` is zero.
constexpr std::uint32_t MaskIfZero(std::uint32_t value) {
  // Only zero keeps the top bit clear in both value and its negation.
  return MaskIfNegative(~(value | (0U - value)));
}

// Select returns `ifSet` where `mask` has ones and `ifClear` where it has zeros.
constexpr std::uint32_t Select(std::uint32_t mask, std::uint32_t ifSet, std::uint32_t ifClear) {
  return (ifSet & mask) | (ifClear & ~mask);
}

// EqualBytes compares `size` bytes of `a` and `b` in time that depends on `size` only: every
// difference is OR-ed together and nothing returns early. Returns true when they are equal.
inline bool EqualBytes(const std::uint8_t* a, const std::uint8_t* b, std::size_t size) {
  std::uint32_t difference = 0;
  for (std::size_t i = 0; i < size; ++i) {
    difference |= static_cast<std::uint32_t>(a[i] ^ b[i]);
  }
  return (MaskIfZero(difference) & 1U) != 0;
}

}  // namespace QVCryptoService::sharescheme
