// Share combination on arbitrary shares. The input is cut or zero-padded to five 113-byte
// shares; their first 33 bytes are five key shares.
//
// Invariants: key-share combination agrees with a plain Lagrange interpolation at zero over
// table-free reference arithmetic, in any order of the shares; share combination gives the same
// answer and message for the shares in reverse order, leaves the message untouched when it
// fails, and can only succeed when the five boxes are the same.

#include "ssv/sharescheme/key_shares.h"
#include "ssv/sharescheme/shares.h"
#include "tests/ssv/gf256_reference.h"

#include "fuzz/fuzz_support.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

namespace ss = QVCryptoService::sharescheme;

constexpr std::size_t kShares = ss::kShareCount;

std::array<std::uint8_t, ss::kSharedKeySize> ReferenceCombine(const std::array<ss::KeyShareView, kShares>& keyShares) {
  std::array<std::uint8_t, ss::kSharedKeySize> key{};
  for (std::size_t k = 0; k < kShares; ++k) {
    std::uint8_t numerator = 1;
    std::uint8_t denominator = 1;
    for (std::size_t j = 0; j < kShares; ++j) {
      if (j != k) {
        numerator = testsupport::ReferenceMultiply(numerator, keyShares[j][0]);
        denominator =
            testsupport::ReferenceMultiply(denominator, static_cast<std::uint8_t>(keyShares[j][0] ^ keyShares[k][0]));
      }
    }
    const std::uint8_t basis = testsupport::ReferenceMultiply(numerator, testsupport::ReferenceInverse(denominator));
    for (std::size_t i = 0; i < ss::kSharedKeySize; ++i) {
      key[i] = static_cast<std::uint8_t>(key[i] ^ testsupport::ReferenceMultiply(basis, keyShares[k][1 + i]));
    }
  }
  return key;
}

void CheckKeyShares(const std::vector<std::uint8_t>& shares) {
  std::array<ss::KeyShareView, kShares> forward{
      ss::KeyShareView(shares.data() + 0 * ss::kShareSize, ss::kKeyShareSize),
      ss::KeyShareView(shares.data() + 1 * ss::kShareSize, ss::kKeyShareSize),
      ss::KeyShareView(shares.data() + 2 * ss::kShareSize, ss::kKeyShareSize),
      ss::KeyShareView(shares.data() + 3 * ss::kShareSize, ss::kKeyShareSize),
      ss::KeyShareView(shares.data() + 4 * ss::kShareSize, ss::kKeyShareSize),
  };
  std::array<std::uint8_t, ss::kSharedKeySize> key{};
  ss::CombineKeyShares(forward, key);
  fuzzsupport::Require(key == ReferenceCombine(forward), "key-share combination agrees with the reference");
  std::array<ss::KeyShareView, kShares> rotated = forward;
  std::rotate(rotated.begin(), rotated.begin() + 2, rotated.end());
  std::array<std::uint8_t, ss::kSharedKeySize> again{};
  ss::CombineKeyShares(rotated, again);
  fuzzsupport::Require(again == key, "the order of the key shares does not matter");
}

void CheckShares(const std::vector<std::uint8_t>& shares) {
  std::array<ss::ShareView, kShares> forward{
      ss::ShareView(shares.data() + 0 * ss::kShareSize, ss::kShareSize),
      ss::ShareView(shares.data() + 1 * ss::kShareSize, ss::kShareSize),
      ss::ShareView(shares.data() + 2 * ss::kShareSize, ss::kShareSize),
      ss::ShareView(shares.data() + 3 * ss::kShareSize, ss::kShareSize),
      ss::ShareView(shares.data() + 4 * ss::kShareSize, ss::kShareSize),
  };
  std::array<ss::ShareView, kShares> reversed = forward;
  std::reverse(reversed.begin(), reversed.end());
  std::array<std::uint8_t, ss::kShareMessageSize> message{};
  message.fill(0xA7);
  const auto untouched = message;
  const int status = ss::CombineShares(forward, message);
  std::array<std::uint8_t, ss::kShareMessageSize> messageReversed{};
  const int statusReversed = ss::CombineShares(reversed, messageReversed);
  fuzzsupport::Require(status == 0 || status == -1, "combination answers 0 or -1");
  fuzzsupport::Require(status == statusReversed, "the order of the shares does not change the answer");
  if (status != 0) {
    fuzzsupport::Require(message == untouched, "a failed combination leaves the message untouched");
    return;
  }
  fuzzsupport::Require(message == messageReversed, "the order of the shares does not change the message");
  for (std::size_t k = 1; k < kShares; ++k) {
    fuzzsupport::Require(std::memcmp(forward[k].data() + ss::kShareBoxOffset, forward[0].data() + ss::kShareBoxOffset,
                                     ss::kShareBoxSize) == 0,
                         "shares that combine carry the same box");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> shares(data, data + std::min(size, kShares * ss::kShareSize));
  shares.resize(kShares * ss::kShareSize, 0);
  CheckKeyShares(shares);
  CheckShares(shares);
  return 0;
}
