#include "ssv/sharescheme/gf256.h"

#include "ssv/sharescheme/constant_time.h"

#include <openssl/crypto.h>

#include <bit>
#include <cstring>

namespace QVCryptoService::sharescheme {

namespace {

// HornerStep multiplies every element of `product` by x and adds `a` where `mask` is set. Times x
// is a shift of the bit planes, and where bit 7 falls out, the reduction x^8 = x^4 + x^3 + x + 1
// adds it back into bits 0, 1, 3 and 4.
inline void HornerStep(std::array<std::uint32_t, 8>& product, const std::array<std::uint32_t, 8>& a,
                       std::uint32_t mask) {
  const std::uint32_t overflow = product[7];
  product[7] = product[6] ^ (a[7] & mask);
  product[6] = product[5] ^ (a[6] & mask);
  product[5] = product[4] ^ (a[5] & mask);
  product[4] = product[3] ^ overflow ^ (a[4] & mask);
  product[3] = product[2] ^ overflow ^ (a[3] & mask);
  product[2] = product[1] ^ (a[2] & mask);
  product[1] = product[0] ^ overflow ^ (a[1] & mask);
  product[0] = overflow ^ (a[0] & mask);
}

// Square is Gf256Multiply(a, a) done as the linear map it is in a field of characteristic 2:
// (sum of a_i x^i)^2 = sum of a_i x^(2i), with x^8, x^10, x^12 and x^14 reduced to 0x1B, 0x6C,
// 0xAB and 0x9A. Each result plane is the XOR of the input planes whose square sets that bit.
Gf256Lanes Square(const Gf256Lanes& a) {
  const auto& p = a.bits;
  Gf256Lanes square;
  square.bits[0] = p[0] ^ p[4] ^ p[6];
  square.bits[1] = p[4] ^ p[6] ^ p[7];
  square.bits[2] = p[1] ^ p[5];
  square.bits[3] = p[4] ^ p[5] ^ p[6] ^ p[7];
  square.bits[4] = p[2] ^ p[4] ^ p[7];
  square.bits[5] = p[5] ^ p[6];
  square.bits[6] = p[3] ^ p[5];
  square.bits[7] = p[6] ^ p[7];
  return square;
}

}  // namespace

// Load and Store move eight elements at a time: the low bit of each byte of a 64-bit word is
// gathered into one byte by a multiplication whose partial products never overlap, and spread
// back the same way. No table and no branch, like the one-bit-at-a-time loop they replace.
constexpr std::uint64_t kLowBits = 0x0101010101010101ULL;
constexpr std::uint64_t kGather = 0x0102040810204080ULL;
constexpr std::uint64_t kDiagonal = 0x8040201008040201ULL;
static_assert(std::endian::native == std::endian::little, "lanes are loaded from little-endian words");

// Each word is read into a scalar and written from one, so no copy of the elements is left on
// the stack to wipe.
namespace {

// LoadWords slices `words` little-endian words of `bytes` into lanes 0 .. 8 * words - 1.
Gf256Lanes LoadWords(const std::uint8_t* bytes, std::size_t words) {
  Gf256Lanes lanes;
  for (std::size_t w = 0; w < words; ++w) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes + 8 * w, sizeof word);
    for (std::size_t b = 0; b < 8; ++b) {
      const std::uint64_t gathered = (((word >> b) & kLowBits) * kGather) >> 56;
      lanes.bits[b] |= static_cast<std::uint32_t>(gathered) << (8 * w);
    }
  }
  return lanes;
}

}  // namespace

Gf256Lanes Gf256Load(std::span<const std::uint8_t, kGf256Lanes> bytes) {
  return LoadWords(bytes.data(), kGf256Lanes / 8);
}

Gf256Lanes Gf256LoadHalf(std::span<const std::uint8_t, kGf256Lanes / 2> bytes) {
  return LoadWords(bytes.data(), kGf256Lanes / 16);
}

void Gf256Store(const Gf256Lanes& lanes, std::span<std::uint8_t, kGf256Lanes> bytes) {
  for (std::size_t w = 0; w < kGf256Lanes / 8; ++w) {
    std::uint64_t word = 0;
    for (std::size_t b = 0; b < 8; ++b) {
      const std::uint64_t eight = (lanes.bits[b] >> (8 * w)) & 0xFFU;
      // Byte j keeps bit j of `eight`; adding 0x7F per byte carries it to the byte's top bit.
      const std::uint64_t diagonal = (eight * kLowBits) & kDiagonal;
      word |= (((diagonal + 0x7F7F7F7F7F7F7F7FULL) & 0x8080808080808080ULL) >> 7) << b;
    }
    std::memcpy(bytes.data() + 8 * w, &word, sizeof word);
  }
}

Gf256Lanes Gf256Broadcast(std::uint8_t value) {
  Gf256Lanes lanes;
  for (std::size_t b = 0; b < 8; ++b) {
    lanes.bits[b] = MaskFromBit(static_cast<std::uint32_t>(value) >> b);
  }
  return lanes;
}

Gf256Lanes Gf256LaneBroadcast(const Gf256Lanes& lanes, std::size_t lane) {
  Gf256Lanes result;
  for (std::size_t b = 0; b < 8; ++b) {
    result.bits[b] = MaskFromBit(lanes.bits[b] >> lane);
  }
  return result;
}

Gf256Lanes Gf256Add(const Gf256Lanes& a, const Gf256Lanes& b) {
  Gf256Lanes sum;
  for (std::size_t i = 0; i < 8; ++i) {
    sum.bits[i] = a.bits[i] ^ b.bits[i];
  }
  return sum;
}

Gf256Lanes Gf256Multiply(const Gf256Lanes& a, const Gf256Lanes& b) {
  // Horner's rule over the bits of b, from the top: product = product * x + a * b_bit. The bit
  // plane of b is itself the per-element mask that adds a or not. The steps are written out so
  // that the eight planes stay in registers; the sequence of word operations is the same.
  std::array<std::uint32_t, 8> product{};
  HornerStep(product, a.bits, b.bits[7]);
  HornerStep(product, a.bits, b.bits[6]);
  HornerStep(product, a.bits, b.bits[5]);
  HornerStep(product, a.bits, b.bits[4]);
  HornerStep(product, a.bits, b.bits[3]);
  HornerStep(product, a.bits, b.bits[2]);
  HornerStep(product, a.bits, b.bits[1]);
  HornerStep(product, a.bits, b.bits[0]);
  Gf256Lanes result;
  result.bits = product;
  return result;
}

Gf256Lanes Gf256Inverse(const Gf256Lanes& a) {
  // a^254 = (a^127)^2, with a^127 built through a^3, a^15 and a^63 (each a^(2^k - 1)): seven
  // squarings and four multiplications in a fixed order.
  Gf256Lanes cube = Gf256Multiply(Square(a), a);
  Gf256Lanes power = Gf256Multiply(Square(Square(cube)), cube);  // a^15
  power = Gf256Multiply(Square(Square(power)), cube);            // a^63
  power = Gf256Multiply(Square(power), a);                       // a^127
  const Gf256Lanes inverse = Square(power);
  Gf256Wipe(cube);
  Gf256Wipe(power);
  return inverse;
}

void Gf256Wipe(Gf256Lanes& lanes) { OPENSSL_cleanse(lanes.bits.data(), sizeof lanes.bits); }

}  // namespace QVCryptoService::sharescheme
