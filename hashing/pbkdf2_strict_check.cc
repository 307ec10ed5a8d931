#include "hashing/pbkdf2_strict_check.h"

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/secure_block.h>

#include "hashing/argon2_record.h"
#include "primitives/openssl_int.h"

#include <openssl/crypto.h>

#include <optional>

namespace QVCryptoService {

bool IsPbkdf2PasswordRecord(const HashingData_t& record) { return record.version == 1 && record.iterations != 0; }

PxaResult CheckPbkdf2Password(const std::string& password, const HashingData_t& record, bool& verified) {
  verified = false;
  // The same digest lengths as an Argon2id record takes: an empty or tiny digest would match
  // almost any password.
  if (record.iterations <= 0 || record.iterations > kPbkdf2MaxCheckedIterations ||
      !Argon2idDigestLengthWithinBounds(record.digest.size())) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  const std::optional<int> saltLength = NarrowToOpenSslInt(record.salt.size());
  if (!saltLength) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  SecureBlock derived(record.digest.size());
  const PxaResult result =
      PBKDF2_HMAC(record.digestName.c_str(), password.c_str(), record.salt.data(), *saltLength,
                  static_cast<std::uint32_t>(record.iterations), static_cast<int>(derived.size()), derived.data());
  if (result != PXA_OK) {
    return result;
  }
  verified = CRYPTO_memcmp(derived.data(), record.digest.data(), derived.size()) == 0;
  return PXA_OK;
}

}  // namespace QVCryptoService
