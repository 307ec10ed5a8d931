#include "ssv/sharescheme/poly1305.h"

#include "ssv/sharescheme/byte_order.h"
#include "ssv/sharescheme/constant_time.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

namespace QVCryptoService::sharescheme {

namespace {

constexpr std::uint32_t kLimbMask = 0x3ffffff;

// The accumulator and the clamped key r, as five 26-bit limbs each, so that every product of
// two limbs (times 5 for the wrapped ones) and their sum fit a 64-bit word.
struct Poly1305State {
  std::array<std::uint32_t, 5> r{};
  std::array<std::uint32_t, 5> h{};
};

void LoadKey(Poly1305State& state, const std::uint8_t* key) {
  // The clamp of r (top four bits of every word and low two bits of the upper three words
  // cleared) folded into the limb masks.
  state.r[0] = LoadLittleEndian32(key + 0) & 0x3ffffff;
  state.r[1] = (LoadLittleEndian32(key + 3) >> 2) & 0x3ffff03;
  state.r[2] = (LoadLittleEndian32(key + 6) >> 4) & 0x3ffc0ff;
  state.r[3] = (LoadLittleEndian32(key + 9) >> 6) & 0x3f03fff;
  state.r[4] = (LoadLittleEndian32(key + 12) >> 8) & 0x00fffff;
}

// AbsorbBlock adds one 16-byte block, with `highBit` (2^128, as bit 24 of the top limb) for a
// full block, and multiplies by r modulo 2^130 - 5.
void AbsorbBlock(Poly1305State& state, const std::uint8_t* block, std::uint32_t highBit) {
  auto& h = state.h;
  const auto& r = state.r;
  h[0] += LoadLittleEndian32(block + 0) & kLimbMask;
  h[1] += (LoadLittleEndian32(block + 3) >> 2) & kLimbMask;
  h[2] += (LoadLittleEndian32(block + 6) >> 4) & kLimbMask;
  h[3] += (LoadLittleEndian32(block + 9) >> 6) & kLimbMask;
  h[4] += (LoadLittleEndian32(block + 12) >> 8) | highBit;

  // 2^130 = 5 modulo p, so limbs that wrap past the top come back multiplied by 5.
  const std::uint64_t s1 = r[1] * 5ULL;
  const std::uint64_t s2 = r[2] * 5ULL;
  const std::uint64_t s3 = r[3] * 5ULL;
  const std::uint64_t s4 = r[4] * 5ULL;
  const std::uint64_t h0 = h[0];
  const std::uint64_t h1 = h[1];
  const std::uint64_t h2 = h[2];
  const std::uint64_t h3 = h[3];
  const std::uint64_t h4 = h[4];
  std::uint64_t d0 = h0 * r[0] + h1 * s4 + h2 * s3 + h3 * s2 + h4 * s1;
  std::uint64_t d1 = h0 * r[1] + h1 * r[0] + h2 * s4 + h3 * s3 + h4 * s2;
  std::uint64_t d2 = h0 * r[2] + h1 * r[1] + h2 * r[0] + h3 * s4 + h4 * s3;
  std::uint64_t d3 = h0 * r[3] + h1 * r[2] + h2 * r[1] + h3 * r[0] + h4 * s4;
  std::uint64_t d4 = h0 * r[4] + h1 * r[3] + h2 * r[2] + h3 * r[1] + h4 * r[0];

  d1 += d0 >> 26;
  h[0] = static_cast<std::uint32_t>(d0) & kLimbMask;
  d2 += d1 >> 26;
  h[1] = static_cast<std::uint32_t>(d1) & kLimbMask;
  d3 += d2 >> 26;
  h[2] = static_cast<std::uint32_t>(d2) & kLimbMask;
  d4 += d3 >> 26;
  h[3] = static_cast<std::uint32_t>(d3) & kLimbMask;
  const auto carry = static_cast<std::uint32_t>(d4 >> 26);
  h[4] = static_cast<std::uint32_t>(d4) & kLimbMask;
  h[0] += carry * 5;
  h[1] += h[0] >> 26;
  h[0] &= kLimbMask;
}

// Finish reduces the accumulator fully modulo 2^130 - 5 and adds s, the key's second half,
// modulo 2^128.
void Finish(Poly1305State& state, const std::uint8_t* s, std::uint8_t* tag) {
  auto& h = state.h;
  std::uint32_t carry = h[1] >> 26;
  h[1] &= kLimbMask;
  for (std::size_t i = 2; i < 5; ++i) {
    h[i] += carry;
    carry = h[i] >> 26;
    h[i] &= kLimbMask;
  }
  h[0] += carry * 5;
  carry = h[0] >> 26;
  h[0] &= kLimbMask;
  h[1] += carry;

  // g = h + 5 - 2^130; h is at most p + small, so h >= p exactly when g does not go negative.
  std::array<std::uint32_t, 5> g{};
  carry = 5;
  for (std::size_t i = 0; i < 4; ++i) {
    g[i] = h[i] + carry;
    carry = g[i] >> 26;
    g[i] &= kLimbMask;
  }
  g[4] = h[4] + carry - (1U << 26);
  const std::uint32_t keepH = MaskIfNegative(g[4]);
  for (std::size_t i = 0; i < 5; ++i) {
    h[i] = Select(keepH, h[i], g[i] & kLimbMask);
  }

  // The low 128 bits as four 32-bit words.
  const std::array<std::uint32_t, 4> words = {
      h[0] | (h[1] << 26),
      (h[1] >> 6) | (h[2] << 20),
      (h[2] >> 12) | (h[3] << 14),
      (h[3] >> 18) | (h[4] << 8),
  };
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    sum = (sum >> 32) + words[i] + LoadLittleEndian32(s + 4 * i);
    StoreLittleEndian32(tag + 4 * i, static_cast<std::uint32_t>(sum));
  }
  OPENSSL_cleanse(g.data(), sizeof g);
}

}  // namespace

void Poly1305(std::span<std::uint8_t, kPoly1305TagSize> tag, const std::uint8_t* message, std::size_t size,
              std::span<const std::uint8_t, kPoly1305KeySize> key) {
  Poly1305State state;
  LoadKey(state, key.data());
  for (; size >= 16; message += 16, size -= 16) {
    AbsorbBlock(state, message, 1U << 24);
  }
  if (size > 0) {
    // A short final block is padded with a single 1 byte and zeros, in place of the high bit.
    std::array<std::uint8_t, 16> last{};
    std::copy(message, message + size, last.begin());
    last[size] = 1;
    AbsorbBlock(state, last.data(), 0);
    OPENSSL_cleanse(last.data(), last.size());
  }
  Finish(state, key.data() + 16, tag.data());
  OPENSSL_cleanse(&state, sizeof state);
}

bool Poly1305Verify(std::span<const std::uint8_t, kPoly1305TagSize> tag, const std::uint8_t* message, std::size_t size,
                    std::span<const std::uint8_t, kPoly1305KeySize> key) {
  std::array<std::uint8_t, kPoly1305TagSize> expected{};
  Poly1305(expected, message, size, key);
  const bool equal = EqualBytes(expected.data(), tag.data(), expected.size());
  OPENSSL_cleanse(expected.data(), expected.size());
  return equal;
}

}  // namespace QVCryptoService::sharescheme
