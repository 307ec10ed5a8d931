// Argon2id password hashes and the verify-and-upgrade path from PBKDF2 records.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/secure_block.h>

#include "hashing/argon2_kdf.h"
#include "hashing/argon2_record.h"
#include "hashing/pbkdf2_strict_check.h"

#include <openssl/crypto.h>

#include <cstddef>
#include <exception>
#include <limits>
#include <span>

namespace QVCryptoService {
namespace {

constexpr std::size_t kNewSaltBytes = 16;
constexpr std::size_t kNewDigestBytes = 32;

std::span<const std::uint8_t> BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool PasswordLengthTaken(const std::string& password) {
  return password.size() <= std::numeric_limits<std::uint32_t>::max();
}

PxaResult CreateRecord(const std::string& password, const Argon2idParameters& parameters, std::string& record) {
  if (!Argon2idParametersWithinBounds(parameters) || !PasswordLengthTaken(password)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  Argon2idHashRecord fresh{parameters, std::vector<std::uint8_t>(kNewSaltBytes), {}};
  if (!EVPRandomSalt(fresh.salt.data(), static_cast<std::uint32_t>(fresh.salt.size()))) {
    return PXA_ERR_UNSPECIFIED;
  }
  SecureBlock digest(kNewDigestBytes);
  if (!Argon2idDerive(BytesOf(password), fresh.salt, parameters, digest)) {
    return PXA_ERR_UNSPECIFIED;
  }
  fresh.digest.assign(digest.begin(), digest.end());
  record = WriteArgon2idRecord(fresh);
  return PXA_OK;
}

// Derives under the record's parameters and compares in constant time.
PxaResult CheckArgon2idPassword(const std::string& password, const Argon2idHashRecord& record, bool& verified) {
  verified = false;
  if (!PasswordLengthTaken(password)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  SecureBlock derived(record.digest.size());
  if (!Argon2idDerive(BytesOf(password), record.salt, record.parameters, derived)) {
    return PXA_ERR_UNSPECIFIED;
  }
  verified = CRYPTO_memcmp(derived.data(), record.digest.data(), derived.size()) == 0;
  return PXA_OK;
}

bool BelowPolicy(const Argon2idParameters& parameters, const Argon2idParameters& policy) {
  return parameters.memoryKiB < policy.memoryKiB || parameters.passes < policy.passes;
}

// Checks the password against either kind of record; `due` tells whether a verified record
// should be made again under the policy.
PxaResult CheckEitherRecord(const std::string& password, const std::string& serialized,
                            const Argon2idParameters& policy, bool& verified, bool& due) {
  Argon2idHashRecord argon2id;
  if (ReadArgon2idRecord(serialized, argon2id)) {
    due = BelowPolicy(argon2id.parameters, policy);
    return CheckArgon2idPassword(password, argon2id, verified);
  }
  HashingData_t pbkdf2;
  if (!DeserializeHashingData(pbkdf2, serialized) || !IsPbkdf2PasswordRecord(pbkdf2)) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  due = true;
  return CheckPbkdf2Password(password, pbkdf2, verified);
}

}  // namespace

PxaResult CreatePasswordHashArgon2id(const std::string& password, std::string& record,
                                     const Argon2idParameters& parameters) {
  try {
    return CreateRecord(password, parameters, record);
  } catch (const std::exception&) {
    return PXA_ERR_UNSPECIFIED;
  }
}

bool VerifyPasswordHashArgon2id(const std::string& password, const std::string& record) {
  try {
    Argon2idHashRecord parsed;
    bool verified = false;
    return ReadArgon2idRecord(record, parsed) && CheckArgon2idPassword(password, parsed, verified) == PXA_OK &&
           verified;
  } catch (const std::exception&) {
    return false;
  }
}

PxaResult VerifyAndUpgradePasswordHash(const std::string& password, const std::string& record, bool& verified,
                                       std::string& upgradedRecord, const Argon2idParameters& policy) {
  verified = false;
  upgradedRecord.clear();
  if (!Argon2idParametersWithinBounds(policy)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  try {
    bool matched = false;
    bool due = false;
    const PxaResult checked = CheckEitherRecord(password, record, policy, matched, due);
    if (checked != PXA_OK) {
      return checked;
    }
    if (matched && due) {
      if (const PxaResult created = CreateRecord(password, policy, upgradedRecord); created != PXA_OK) {
        return created;
      }
    }
    verified = matched;
    return PXA_OK;
  } catch (const std::exception&) {
    upgradedRecord.clear();
    return PXA_ERR_UNSPECIFIED;
  }
}

}  // namespace QVCryptoService
