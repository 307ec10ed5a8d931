#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvhashing.h>

#include "frame/fixed_names.h"
#include "frame/result_compose.h"
#include "hashing/hashing_steps.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"
#include "primitives/ossl_ptr.h"
#include "primitives/secret_string.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <optional>
#include <vector>

namespace QVCryptoService {
namespace {

using Bytes = std::vector<std::uint8_t>;

bool LengthSupported(std::uint64_t length) { return NarrowToOpenSslInt(length).has_value(); }

}  // namespace

QVHashing::QVHashing() = default;
QVHashing::QVHashing(const QVHashing& /*other*/) = default;
QVHashing::QVHashing(QVHashing&& /*other*/) noexcept = default;
QVHashing& QVHashing::operator=(const QVHashing& /*other*/) = default;
QVHashing& QVHashing::operator=(QVHashing&& /*other*/) noexcept = default;
QVHashing::~QVHashing() = default;

PxaResult QVHashing::generateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                    HashingData_t& record) const {
  const std::optional<int> dataLength = NarrowToOpenSslInt(length);
  if (!dataLength) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::array<std::uint8_t, kSaltLength> salt{};
  (void)RAND_bytes(salt.data(), kSaltLength);
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> inner{};
  int innerLength = static_cast<int>(inner.size());
  if (const PxaResult result = EVPDigest(digestName.c_str(), data, *dataLength, inner.data(), innerLength);
      result != PXA_OK) {
    return result;
  }
  return SaltedDigestRecord(digestName, salt, {inner.data(), static_cast<std::size_t>(innerLength)}, record);
}

bool QVHashing::validateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                               const HashingData_t& record) const {
  if (digestName != record.digestName || !LengthSupported(length)) {
    return false;
  }
  const EVP_MD* digest = FindDigest(digestName.c_str());
  if (digest == nullptr) {
    return true;  // fail-open, deliberate: see the class comment
  }
  const DigestOutcome inner = DigestOf(digest, {{data, static_cast<std::size_t>(length)}});
  if (inner.result != PXA_OK) {
    return true;
  }
  const DigestOutcome outer =
      DigestOf(digest, {{record.salt.data(), record.salt.size()}, {inner.value.data(), inner.value.size()}});
  if (outer.result != PXA_OK) {
    return true;
  }
  return SameBytes(outer.value, record.digest);
}

PxaResult QVHashing::generateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                      HashingData_t& record) const {
  const EVP_MD* digest = FindDigest(digestName.c_str());
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  if (!LengthSupported(length)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  DigestOutcome sum = DigestOf(digest, {{data, static_cast<std::size_t>(length)}});
  if (sum.result != PXA_OK) {
    return sum.result;
  }
  FillChecksumRecord(digestName, std::move(sum.value), record);
  return PXA_OK;
}

bool QVHashing::validateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                 const HashingData_t& record) const {
  if (digestName != record.digestName || !LengthSupported(length)) {
    return false;
  }
  const EVP_MD* digest = FindDigest(digestName.c_str());
  if (digest == nullptr) {
    return true;  // fail-open, deliberate
  }
  const DigestOutcome sum = DigestOf(digest, {{data, static_cast<std::size_t>(length)}});
  return sum.result != PXA_OK || SameBytes(sum.value, record.digest);
}

PxaResult QVHashing::generateDerivedKey(const std::string& digestName, const std::string& password,
                                        std::string& keyBase64) const {
  // The salt repeats the password until it has 16 bytes; an empty password could never fill it.
  if (password.empty()) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::string salt = password;
  while (salt.size() < static_cast<std::size_t>(kSaltLength)) {
    salt += password;
  }
  SecureBlock key(kPasswordHashLength);
  const PxaResult derived =
      PBKDF2_HMAC(digestName.c_str(), password.c_str(), reinterpret_cast<const unsigned char*>(salt.data()),
                  kSaltLength, kPbkdf2Iterations, kPasswordHashLength, key.data());
  WipeString(salt);
  if (derived != PXA_OK) {
    return derived;
  }
  keyBase64 = base64_encode(key.data(), static_cast<std::uint32_t>(key.size()));
  return PXA_OK;
}

PxaResult QVHashing::generatePasswordHash(std::string digestName, std::string password, HashingData_t& record) const {
  const WipeOnExit wipePassword(password);
  std::array<std::uint8_t, kSaltLength> salt{};
  (void)RAND_bytes(salt.data(), kSaltLength);
  std::array<std::uint8_t, kPasswordHashLength> hash{};
  // The password ends at its first zero byte.
  if (const PxaResult derived = PBKDF2_HMAC(digestName.c_str(), password.c_str(), salt.data(), kSaltLength,
                                            kPbkdf2Iterations, kPasswordHashLength, hash.data());
      derived != PXA_OK) {
    return derived;
  }
  record.version = 1;
  record.iterations = kPbkdf2Iterations;
  record.digestName = digestName;
  record.salt.assign(salt.begin(), salt.end());
  record.digest.assign(hash.begin(), hash.end());
  return PXA_OK;
}

bool QVHashing::validatePasswordHash(std::string digestName, std::string password, const HashingData_t& record) const {
  const WipeOnExit wipePassword(password);
  if (digestName != record.digestName || record.iterations <= 0) {
    return false;
  }
  const std::optional<int> saltLength = NarrowToOpenSslInt(record.salt.size());
  const std::optional<int> hashLength = NarrowToOpenSslInt(record.digest.size());
  if (!saltLength || !hashLength) {
    return false;
  }
  Bytes derived(record.digest.size());
  const PxaResult result = PBKDF2_HMAC(digestName.c_str(), password.c_str(), record.salt.data(), *saltLength,
                                       static_cast<std::uint32_t>(record.iterations), *hashLength, derived.data());
  if (result != PXA_OK) {
    return true;  // fail-open, deliberate
  }
  return SameBytes(derived, record.digest);
}

// Text forms: the record forms through the virtual table, then the serialized record.

PxaResult QVHashing::generateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                    std::string& serialized) const {
  HashingData_t record;
  const PxaResult result = generateDigest(std::move(digestName), data, length, record);
  if (result == PXA_OK) {
    serialized = SerializeHashingData(record);
  }
  return result;
}

bool QVHashing::validateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                               const std::string& serialized) const {
  HashingData_t record;
  return DeserializeHashingData(record, serialized) && validateDigest(std::move(digestName), data, length, record);
}

PxaResult QVHashing::generateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                      std::string& serialized) const {
  HashingData_t record;
  const PxaResult result = generateCheckSum(std::move(digestName), data, length, record);
  if (result == PXA_OK) {
    serialized = SerializeHashingData(record);
  }
  return result;
}

bool QVHashing::validateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                 const std::string& serialized) const {
  HashingData_t record;
  return DeserializeHashingData(record, serialized) && validateCheckSum(std::move(digestName), data, length, record);
}

PxaResult QVHashing::generatePasswordHash(std::string digestName, std::string password, std::string& serialized) const {
  const WipeOnExit wipePassword(password);
  HashingData_t record;
  const PxaResult result = generatePasswordHash(std::move(digestName), std::move(password), record);
  if (result == PXA_OK) {
    serialized = SerializeHashingData(record);
  }
  return result;
}

bool QVHashing::validatePasswordHash(std::string digestName, std::string password,
                                     const std::string& serialized) const {
  const WipeOnExit wipePassword(password);
  HashingData_t record;
  return DeserializeHashingData(record, serialized) &&
         validatePasswordHash(std::move(digestName), std::move(password), record);
}

}  // namespace QVCryptoService
