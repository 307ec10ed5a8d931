#pragma once

// Recovery kits for this machine's SSV. A backup splits the SSV record among N holders so that
// any K of them (2 <= K <= N <= 16) can rebuild it and fewer learn nothing about it. Each
// holder's kit is a short text sealed under that holder's own passphrase; its clear part names
// the component id, the holder number, K, N, the creation time and the backup it belongs to.
// A restore rebuilds the exact record from K kits and stores it where this machine's SSV lives.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <string>
#include <vector>

namespace QVCryptoService {

// A backup has between 2 and 16 holders, and a threshold between 2 and its number of holders.
inline constexpr std::size_t kSsvKitMinThreshold = 2;
inline constexpr std::size_t kSsvKitMaxHolders = 16;

enum class SsvKitStatus : int {
  kOk = 0,
  kInvalidArguments = 1,    // holder count or threshold out of range, passphrase count wrong or one empty
  kNoSsv = 2,               // no readable SSV record on this machine, or one whose shares do not recombine
  kKitUnreadable = 3,       // a text that is not a kit, or a damaged one
  kMixedKits = 4,           // kits of different backups (or disagreeing clear parts)
  kDuplicateHolder = 5,     // one holder's kit given twice
  kTooFewKits = 6,          // fewer kits than the backup's threshold
  kKitDoesNotOpen = 7,      // wrong passphrase, or the kit was changed since it was made
  kRecordRejected = 8,      // the rebuilt record does not recombine or names another component id
  kDifferentSsvStored = 9,  // this machine has another SSV and the restore was not forced
  kStoreFailed = 10,        // the machine store (or its lock, or its root) refused
  kInternalError = 11,      // random generator, OpenSSL or memory failure
};

// SsvKitOutcome says how a backup or restore ended. `kit` is the position in the caller's list
// of the kit (or passphrase) the status is about, or kNoKit; `message` is one line for people;
// `componentId` is the SSV's component id once known; `bindingWritten` is true when a restore
// bound the record to this machine (see RestoreSsv).
struct SsvKitOutcome {
  static constexpr std::size_t kNoKit = static_cast<std::size_t>(-1);
  SsvKitStatus status = SsvKitStatus::kOk;
  std::size_t kit = kNoKit;
  std::string message;
  std::string componentId;
  bool bindingWritten = false;
};

// SsvKitShapeProblem says in one line what is wrong with a backup of `holders` kits and a
// threshold of `threshold`, or is empty when the two are in range.
QVCS_EXPORT std::string SsvKitShapeProblem(std::size_t holders, std::size_t threshold) noexcept;

// BackUpSsv splits this machine's SSV record into one kit per passphrase (holder i + 1 gets
// passphrases[i]) with a threshold of `threshold`, and puts their texts in `kits`. Keys come
// from Argon2id with 64 MiB and 3 passes, so each kit takes a moment. Nothing is stored; `kits`
// is left empty on failure.
QVCS_EXPORT SsvKitOutcome BackUpSsv(std::size_t threshold, const std::vector<SecureBlock>& passphrases,
                                    std::vector<std::string>& kits) noexcept;

// RestoreSsv rebuilds the record from `kits` (at least the backup's threshold of them, each
// with its passphrase at the same position) and stores it as this machine's SSV under the
// machine lock. An SSV already there that is the same record is success; a different one is
// replaced only when `force` is true. The record stored (or found) is then bound to this machine
// (ssv_binding.h) where there is no binding yet or the binding names another record; a binding
// of this record is left as it is, whether it matches this machine or not. A kit whose Argon2id
// cost is below that of the password hashes (19 MiB, 2 passes) is refused as one that does not
// open; one that asks for more than 256 MiB or 16 passes, more than any kit this library writes,
// is refused as unreadable before any key is derived.
QVCS_EXPORT SsvKitOutcome RestoreSsv(const std::vector<std::string>& kits, const std::vector<SecureBlock>& passphrases,
                                     bool force) noexcept;

}  // namespace QVCryptoService
