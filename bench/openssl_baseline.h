#pragma once

// The baselines: the same cryptographic work as the library's calls, done directly with OpenSSL
// the way a careful caller would, with no records, no base64 and no keystore.

#include "bench/bench_environment.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvbench {

constexpr std::size_t kAesKeyLength = 32;
constexpr std::size_t kAesIvLength = 16;
constexpr int kPasswordIterations = 10000;

// RawAesEncrypt: a fresh context, a random IV, one-shot AES-256-CBC with padding into `out`.
// Returns false when OpenSSL fails.
bool RawAesEncrypt(const std::uint8_t* key, const std::uint8_t* plain, std::size_t length, std::uint8_t* iv,
                   Bytes& out);
// RawAesDecrypt: a fresh context, one-shot AES-256-CBC decryption into `out`.
bool RawAesDecrypt(const std::uint8_t* key, const std::uint8_t* iv, const Bytes& cipher, Bytes& out);

// RawPasswordKey: PKCS5_PBKDF2_HMAC with SHA-256, 10000 iterations, a 32-byte key.
bool RawPasswordKey(const char* password, const std::uint8_t* salt, std::size_t saltLength, std::uint8_t* key);

// RawSha256 and RawHmacSha256: one-shot digest and HMAC into `out` (32 bytes).
bool RawSha256(const std::uint8_t* data, std::size_t length, std::uint8_t* out);
bool RawHmacSha256(const std::uint8_t* key, std::size_t keyLength, const std::uint8_t* data, std::size_t length,
                   std::uint8_t* out);

// RawRandom fills `length` bytes from OpenSSL's generator.
bool RawRandom(std::uint8_t* out, std::size_t length);

}  // namespace qvbench
