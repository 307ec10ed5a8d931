#include "ssv/sharescheme/salsa20.h"

#include "ssv/sharescheme/byte_order.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace QVCryptoService::sharescheme {

namespace {

using State = std::array<std::uint32_t, 16>;

// "expand 32-byte k", read as four little-endian words.
constexpr std::uint32_t kSigma0 = 0x61707865;
constexpr std::uint32_t kSigma1 = 0x3320646e;
constexpr std::uint32_t kSigma2 = 0x79622d32;
constexpr std::uint32_t kSigma3 = 0x6b206574;

constexpr std::uint32_t Rotate(std::uint32_t value, int bits) { return (value << bits) | (value >> (32 - bits)); }

// QuarterRound updates four words; the callers pick columns, then rows.
inline void QuarterRound(std::uint32_t& a, std::uint32_t& b, std::uint32_t& c, std::uint32_t& d) {
  b ^= Rotate(a + d, 7);
  c ^= Rotate(b + a, 9);
  d ^= Rotate(c + b, 13);
  a ^= Rotate(d + c, 18);
}

// The sixteen words live in locals for the twenty rounds, so the compiler keeps them in
// registers; indexing an array through a reference sent every word back to memory after each
// step. Columns, then rows, ten times.
void TwentyRounds(State& state) {
  std::uint32_t x0 = state[0], x1 = state[1], x2 = state[2], x3 = state[3];
  std::uint32_t x4 = state[4], x5 = state[5], x6 = state[6], x7 = state[7];
  std::uint32_t x8 = state[8], x9 = state[9], x10 = state[10], x11 = state[11];
  std::uint32_t x12 = state[12], x13 = state[13], x14 = state[14], x15 = state[15];
  for (int doubleRound = 0; doubleRound < 10; ++doubleRound) {
    QuarterRound(x0, x4, x8, x12);
    QuarterRound(x5, x9, x13, x1);
    QuarterRound(x10, x14, x2, x6);
    QuarterRound(x15, x3, x7, x11);
    QuarterRound(x0, x1, x2, x3);
    QuarterRound(x5, x6, x7, x4);
    QuarterRound(x10, x11, x8, x9);
    QuarterRound(x15, x12, x13, x14);
  }
  state = {x0, x1, x2, x3, x4, x5, x6, x7, x8, x9, x10, x11, x12, x13, x14, x15};
}

// InitialState places the constant at words 0, 5, 10 and 15, the key around it, and the 16
// bytes of nonce material (nonce and counter, or the HSalsa20 input) at words 6 to 9.
State InitialState(std::span<const std::uint8_t, kSalsaKeySize> key, const std::uint8_t* middle) {
  State state{};
  state[0] = kSigma0;
  state[5] = kSigma1;
  state[10] = kSigma2;
  state[15] = kSigma3;
  for (std::size_t i = 0; i < 4; ++i) {
    state[1 + i] = LoadLittleEndian32(key.data() + 4 * i);
    state[11 + i] = LoadLittleEndian32(key.data() + 16 + 4 * i);
    state[6 + i] = LoadLittleEndian32(middle + 4 * i);
  }
  return state;
}

}  // namespace

void HSalsa20(std::span<std::uint8_t, kSalsaKeySize> subkey, std::span<const std::uint8_t, kHSalsaInputSize> input,
              std::span<const std::uint8_t, kSalsaKeySize> key) {
  State x = InitialState(key, input.data());
  TwentyRounds(x);
  // No feed-forward: the subkey is the diagonal and the input positions of the final state.
  constexpr std::array<int, 8> kOutputWords = {0, 5, 10, 15, 6, 7, 8, 9};
  for (std::size_t i = 0; i < kOutputWords.size(); ++i) {
    StoreLittleEndian32(subkey.data() + 4 * i, x[static_cast<std::size_t>(kOutputWords[i])]);
  }
  OPENSSL_cleanse(x.data(), sizeof x);
}

void Salsa20Block(std::span<std::uint8_t, kSalsaBlockSize> block, std::span<const std::uint8_t, kSalsaKeySize> key,
                  std::span<const std::uint8_t, kSalsaNonceSize> nonce, std::uint64_t counter) {
  std::array<std::uint8_t, 16> middle{};
  std::copy(nonce.begin(), nonce.end(), middle.begin());
  StoreLittleEndian32(middle.data() + 8, static_cast<std::uint32_t>(counter));
  StoreLittleEndian32(middle.data() + 12, static_cast<std::uint32_t>(counter >> 32));
  State input = InitialState(key, middle.data());
  State x = input;
  TwentyRounds(x);
  for (std::size_t i = 0; i < x.size(); ++i) {
    StoreLittleEndian32(block.data() + 4 * i, x[i] + input[i]);
  }
  OPENSSL_cleanse(x.data(), sizeof x);
  OPENSSL_cleanse(input.data(), sizeof input);
}

void Salsa20Xor(std::uint8_t* out, const std::uint8_t* in, std::size_t size,
                std::span<const std::uint8_t, kSalsaKeySize> key, std::span<const std::uint8_t, kSalsaNonceSize> nonce,
                std::uint64_t counter) {
  std::array<std::uint8_t, kSalsaBlockSize> stream{};
  for (std::size_t offset = 0; offset < size; offset += kSalsaBlockSize, ++counter) {
    Salsa20Block(stream, key, nonce, counter);
    const std::size_t take = std::min(kSalsaBlockSize, size - offset);
    for (std::size_t i = 0; i < take; ++i) {
      out[offset + i] = static_cast<std::uint8_t>(in[offset + i] ^ stream[i]);
    }
  }
  OPENSSL_cleanse(stream.data(), stream.size());
}

}  // namespace QVCryptoService::sharescheme
