#pragma once

// Argon2id password hashes: the memory-hard successor of the PBKDF2 password hashes of
// hashing_functions.h, whose functions keep working as before. An Argon2id record carries its
// own parameters, so records made under an older policy keep verifying.

#include <cstdint>

namespace QVCryptoService {

// Argon2idParameters: the cost of one derivation. Memory is in KiB; lanes are computed one after
// the other.
struct Argon2idParameters {
  std::uint32_t memoryKiB;
  std::uint32_t passes;
  std::uint32_t lanes;
};

// kArgon2idPolicyDefault: 19 MiB, 2 passes, 1 lane.
inline constexpr Argon2idParameters kArgon2idPolicyDefault{19456, 2, 1};

}  // namespace QVCryptoService
