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

// QuarterRound updates four words of the state; the callers pick columns, then rows.
void QuarterRound(State& x, std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
  x[b] ^= Rotate(x[a] + x[d], 7);
  x[c] ^= Rotate(x[b] + x[a], 9);
  x[d] ^= Rotate(x[c] + x[b], 13);
  x[a] ^= Rotate(x[d] + x[c], 18);
}

// The rounds work on a local copy, which the compiler can keep in registers; through the
// reference every word went back to memory after each step.
void TwentyRounds(State& state) {
  State x = state;
  for (int doubleRound = 0; doubleRound < 10; ++doubleRound) {
    QuarterRound(x, 0, 4, 8, 12);
    QuarterRound(x, 5, 9, 13, 1);
    QuarterRound(x, 10, 14, 2, 6);
    QuarterRound(x, 15, 3, 7, 11);
    QuarterRound(x, 0, 1, 2, 3);
    QuarterRound(x, 5, 6, 7, 4);
    QuarterRound(x, 10, 11, 8, 9);
    QuarterRound(x, 15, 12, 13, 14);
  }
  state = x;
  OPENSSL_cleanse(x.data(), sizeof x);
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
