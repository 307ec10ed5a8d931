#pragma once

// Argon2id password hashes: the memory-hard successor of the PBKDF2 password hashes of
// hashing_functions.h, whose functions keep working as before. An Argon2id record carries its
// own parameters, so records made under an older policy keep verifying, and
// VerifyAndUpgradePasswordHash hands out the record to store instead once a password verifies
// against a record below the policy.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// Argon2idParameters: the cost of one derivation. Memory is in KiB; lanes are computed one after
// the other. Memory 8 to 1048576 KiB and at least 8 KiB per lane, 1 to 64 passes, 1 to 16 lanes.
struct Argon2idParameters {
  std::uint32_t memoryKiB;
  std::uint32_t passes;
  std::uint32_t lanes;
};

// kArgon2idPolicyDefault: 19 MiB, 2 passes, 1 lane.
inline constexpr Argon2idParameters kArgon2idPolicyDefault{19456, 2, 1};

// Argon2idParametersWithinBounds: true when the parameters are within the bounds above, the ones
// every function here takes.
QVCS_EXPORT bool Argon2idParametersWithinBounds(const Argon2idParameters& parameters);

// CreatePasswordHashArgon2id makes a record of a 32-byte Argon2id digest of every byte of
// `password` under a fresh 16-byte salt. Returns 0; PXA_ERR_INVALID_ARGUMENTS for parameters
// outside the bounds or a password of 4 GiB or more; PXA_ERR_UNSPECIFIED when no salt or no
// memory could be had. `record` is set only on success.
QVCS_EXPORT PxaResult CreatePasswordHashArgon2id(const std::string& password, std::string& record,
                                                 const Argon2idParameters& parameters = kArgon2idPolicyDefault);

// VerifyPasswordHashArgon2id: true when `record` is an Argon2id record (within the bounds) of
// `password`. False for anything else, PBKDF2 records included.
QVCS_EXPORT bool VerifyPasswordHashArgon2id(const std::string& password, const std::string& record);

// ReadPasswordHashArgon2idParameters: true, with the record's parameters, when `record` is an
// Argon2id record within the bounds; false for anything else. Derives nothing.
QVCS_EXPORT bool ReadPasswordHashArgon2idParameters(const std::string& record, Argon2idParameters& parameters);

// VerifyAndUpgradePasswordHash checks `password` against a PBKDF2 password hash (a version-1
// hashing record with a positive count, as CreatePasswordHash makes, under any digest OpenSSL
// knows) or an Argon2id record. `verified` tells whether it matched. When it matched and the
// record is PBKDF2, or Argon2id with less memory or fewer passes than `policy`,
// `upgradedRecord` is a fresh Argon2id record of the same password under `policy`, to be stored
// instead; otherwise it is empty. Unlike the PBKDF2 validators, a digest name OpenSSL does not
// know never verifies.
// Returns 0 when the record was checked, whatever the answer; PXA_ERR_INVALID_ARGUMENTS for a
// policy outside the bounds or a password of 4 GiB or more; PXA_ERR_CORRUPTED_DATA for a text
// that is neither kind of record, or a PBKDF2 record with no positive count, a digest shorter
// than 16 or longer than 64 bytes or more than 10000000 iterations; PXA_ERR_UNSUPPORTED_DIGEST
// for a PBKDF2 digest OpenSSL does not know; PXA_ERR_UNSPECIFIED when a derivation could not be
// done. `verified` is false on every non-zero result.
QVCS_EXPORT PxaResult VerifyAndUpgradePasswordHash(const std::string& password, const std::string& record,
                                                   bool& verified, std::string& upgradedRecord,
                                                   const Argon2idParameters& policy = kArgon2idPolicyDefault);

}  // namespace QVCryptoService
