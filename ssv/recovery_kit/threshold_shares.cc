#include "ssv/recovery_kit/threshold_shares.h"

#include "ssv/sharescheme/gf256.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>

namespace QVCryptoService {

namespace {

using sharescheme::Gf256Lanes;
using sharescheme::kGf256Lanes;
using Chunk = std::span<std::uint8_t, kGf256Lanes>;

// The field code works on 32 bytes at a time; a secret is handled in such chunks, the last one
// padded with zeros in locked memory and cut off again when stored.
std::size_t PaddedSize(std::size_t size) { return (size + kGf256Lanes - 1) / kGf256Lanes * kGf256Lanes; }

SecureBlock Padded(std::span<const std::uint8_t> bytes) {
  SecureBlock padded(PaddedSize(bytes.size()), 0);
  std::copy(bytes.begin(), bytes.end(), padded.begin());
  return padded;
}

Gf256Lanes LoadChunk(const SecureBlock& padded, std::size_t offset) {
  return sharescheme::Gf256Load(std::span<const std::uint8_t, kGf256Lanes>(padded.data() + offset, kGf256Lanes));
}

void StoreChunk(Gf256Lanes& lanes, SecureBlock& padded, std::size_t offset) {
  sharescheme::Gf256Store(lanes, Chunk(padded.data() + offset, kGf256Lanes));
  sharescheme::Gf256Wipe(lanes);
}

// LagrangeAtZero is the weight of holder `holders[i]` when interpolating at zero: the product
// over the other holders j of x_j / (x_i + x_j). Holder numbers are public; the weight is not
// secret either, but goes through the same constant-time field code.
Gf256Lanes LagrangeAtZero(std::span<const ThresholdShare> shares, std::size_t i) {
  Gf256Lanes numerator = sharescheme::Gf256Broadcast(1);
  Gf256Lanes denominator = sharescheme::Gf256Broadcast(1);
  for (std::size_t j = 0; j < shares.size(); ++j) {
    if (j != i) {
      numerator = sharescheme::Gf256Multiply(numerator, sharescheme::Gf256Broadcast(shares[j].holder));
      denominator = sharescheme::Gf256Multiply(
          denominator, sharescheme::Gf256Broadcast(static_cast<std::uint8_t>(shares[i].holder ^ shares[j].holder)));
    }
  }
  return sharescheme::Gf256Multiply(numerator, sharescheme::Gf256Inverse(denominator));
}

}  // namespace

bool SplitThreshold(std::span<const std::uint8_t> secret, std::size_t threshold, std::size_t holders,
                    std::vector<SecureBlock>& shares) {
  shares.clear();
  if (threshold < kMinShareThreshold || threshold > holders || holders > kMaxShareHolders) {
    return false;
  }
  const SecureBlock padded = Padded(secret);
  std::vector<SecureBlock> values(holders, SecureBlock(padded.size(), 0));
  // Coefficients 1..K-1 of the current chunk's polynomials, drawn afresh for every chunk.
  SecureBlock coefficients((threshold - 1) * kGf256Lanes);
  for (std::size_t offset = 0; offset < padded.size(); offset += kGf256Lanes) {
    if (RAND_priv_bytes(coefficients.data(), static_cast<int>(coefficients.size())) != 1) {
      return false;
    }
    for (std::size_t holder = 1; holder <= holders; ++holder) {
      const Gf256Lanes x = sharescheme::Gf256Broadcast(static_cast<std::uint8_t>(holder));
      // Horner's rule from the highest coefficient down to the secret itself.
      Gf256Lanes y = LoadChunk(coefficients, (threshold - 2) * kGf256Lanes);
      for (std::size_t k = threshold - 2; k >= 1; --k) {
        Gf256Lanes coefficient = LoadChunk(coefficients, (k - 1) * kGf256Lanes);
        y = sharescheme::Gf256Add(sharescheme::Gf256Multiply(y, x), coefficient);
        sharescheme::Gf256Wipe(coefficient);
      }
      Gf256Lanes constant = LoadChunk(padded, offset);
      y = sharescheme::Gf256Add(sharescheme::Gf256Multiply(y, x), constant);
      sharescheme::Gf256Wipe(constant);
      StoreChunk(y, values[holder - 1], offset);
    }
  }
  for (SecureBlock& value : values) {
    value.resize(secret.size());
  }
  shares = std::move(values);
  return true;
}

bool CombineThreshold(std::span<const ThresholdShare> shares, SecureBlock& secret) {
  secret.clear();
  if (shares.empty()) {
    return false;
  }
  std::array<bool, 256> seen{};
  for (const ThresholdShare& share : shares) {
    if (share.holder == 0 || seen[share.holder] || share.values.size() != shares.front().values.size()) {
      return false;
    }
    seen[share.holder] = true;
  }
  std::vector<SecureBlock> padded;
  padded.reserve(shares.size());
  for (const ThresholdShare& share : shares) {
    padded.push_back(Padded(share.values));
  }
  std::vector<Gf256Lanes> weights;
  for (std::size_t i = 0; i < shares.size(); ++i) {
    weights.push_back(LagrangeAtZero(shares, i));
  }
  SecureBlock combined(padded.front().size(), 0);
  for (std::size_t offset = 0; offset < combined.size(); offset += kGf256Lanes) {
    Gf256Lanes sum = sharescheme::Gf256Broadcast(0);
    for (std::size_t i = 0; i < shares.size(); ++i) {
      Gf256Lanes y = LoadChunk(padded[i], offset);
      sum = sharescheme::Gf256Add(sum, sharescheme::Gf256Multiply(weights[i], y));
      sharescheme::Gf256Wipe(y);
    }
    StoreChunk(sum, combined, offset);
  }
  combined.resize(shares.front().values.size());
  secret = std::move(combined);
  return true;
}

}  // namespace QVCryptoService
