#pragma once

// Arithmetic in GF(2^8) with the AES polynomial x^8 + x^4 + x^3 + x + 1, on 32 field elements
// at a time, bit-sliced: word b of a Gf256Lanes holds bit b of all 32 elements (bit i of the
// word belongs to element i). Every operation is a fixed sequence of word operations, with no
// table and no branch that depends on the elements.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kGf256Lanes = 32;

struct Gf256Lanes {
  std::array<std::uint32_t, 8> bits{};
};

// Gf256Load slices 32 bytes, byte i becoming element i.
Gf256Lanes Gf256Load(std::span<const std::uint8_t, kGf256Lanes> bytes);

// Gf256LoadHalf slices 16 bytes into lanes 0..15; lanes 16..31 hold zero.
Gf256Lanes Gf256LoadHalf(std::span<const std::uint8_t, kGf256Lanes / 2> bytes);
// Gf256Store writes the 32 elements back as bytes.
void Gf256Store(const Gf256Lanes& lanes, std::span<std::uint8_t, kGf256Lanes> bytes);

// Gf256Broadcast puts `value` in every element.
Gf256Lanes Gf256Broadcast(std::uint8_t value);

// Gf256LaneBroadcast puts the element of lane `lane` (a public index below kGf256Lanes) in every
// lane, with the same word operations whatever the elements are.
Gf256Lanes Gf256LaneBroadcast(const Gf256Lanes& lanes, std::size_t lane);

// Gf256Add adds element-wise (XOR).
Gf256Lanes Gf256Add(const Gf256Lanes& a, const Gf256Lanes& b);

// Gf256Multiply multiplies element-wise.
Gf256Lanes Gf256Multiply(const Gf256Lanes& a, const Gf256Lanes& b);

// Gf256Inverse returns the multiplicative inverse of each element, a^254; zero maps to zero.
Gf256Lanes Gf256Inverse(const Gf256Lanes& a);

// Gf256Wipe clears lanes that held secret elements.
void Gf256Wipe(Gf256Lanes& lanes);

}  // namespace QVCryptoService::sharescheme
