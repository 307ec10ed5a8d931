#pragma once

// The steps behind BackUpSsv and RestoreSsv, with the KDF cost as a parameter so that tests can
// make and open kits quickly; the public functions pass kKitArgon2id, and open kits made at
// no less than the password-hash policy.

#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/secure_block.h>
#include <qvcryptoservice/ssv_recovery.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QVCryptoService {

// MakeKits splits `record` (an SSV record as stored) into one kit text per passphrase.
SsvKitOutcome MakeKits(const SecureBlock& record, std::size_t threshold, const std::vector<SecureBlock>& passphrases,
                       const Argon2idParameters& cost, std::vector<std::string>& kits);

// RebuildRecord checks that the kit texts belong together, opens them and rebuilds the record,
// which must recombine and carry the kits' component id. Kits sealed with less memory or fewer
// passes than `minimum` are refused as not opening.
SsvKitOutcome RebuildRecord(const std::vector<std::string>& texts, const std::vector<SecureBlock>& passphrases,
                            const Argon2idParameters& minimum, SecureBlock& record);

// StoreRebuiltRecord stores `record` as this machine's SSV under the machine lock.
SsvKitOutcome StoreRebuiltRecord(const SecureBlock& record, bool force);

// ShapeProblem is SsvKitShapeProblem, which may throw std::bad_alloc.
std::string ShapeProblem(std::size_t holders, std::size_t threshold);

// RecordRecombines is true when every group of `record` recombines.
bool RecordRecombines(const SecureBlock& record);

}  // namespace QVCryptoService
