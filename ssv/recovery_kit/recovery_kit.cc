#include "ssv/recovery_kit/recovery_kit.h"

#include "primitives/hex_text.h"
#include "ssv/record_layout.h"
#include "ssv/recovery_kit/kit_seal.h"
#include "ssv/recovery_kit/kit_text.h"
#include "ssv/recovery_kit/threshold_shares.h"
#include "ssv/share_slots.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>

namespace QVCryptoService {

namespace {

SsvKitOutcome Refused(SsvKitStatus status, std::string message, std::size_t kit = SsvKitOutcome::kNoKit) {
  SsvKitOutcome outcome;
  outcome.status = status;
  outcome.kit = kit;
  outcome.message = std::move(message);
  return outcome;
}

std::string ComponentIdOf(const SecureBlock& record) {
  return std::string(record.begin(), record.begin() + kComponentIdSize);
}

bool RandomBytes(std::vector<std::uint8_t>& bytes, std::size_t size) {
  bytes.resize(size);
  return RAND_bytes(bytes.data(), static_cast<int>(size)) == 1;
}

bool NewBackupId(std::string& id) {
  std::vector<std::uint8_t> bytes;
  if (!RandomBytes(bytes, kKitBackupIdSize)) {
    return false;
  }
  AppendLowerHex(id, bytes);
  return true;
}

std::string Holder(const KitHeader& header) { return "holder " + std::to_string(header.holder); }

// CheckPassphrases refuses a list that does not match the kits one for one or holds an empty one.
SsvKitOutcome CheckPassphrases(std::size_t expected, const std::vector<SecureBlock>& passphrases) {
  if (passphrases.size() != expected) {
    return Refused(SsvKitStatus::kInvalidArguments,
                   std::to_string(expected) + " passphrases needed, " + std::to_string(passphrases.size()) + " given");
  }
  for (std::size_t i = 0; i < passphrases.size(); ++i) {
    if (passphrases[i].empty()) {
      return Refused(SsvKitStatus::kInvalidArguments, "passphrase " + std::to_string(i + 1) + " is empty", i);
    }
  }
  return {};
}

// ReadKits takes the texts apart and checks that they are one backup's kits of distinct holders.
SsvKitOutcome ReadKits(const std::vector<std::string>& texts, std::vector<KitText>& kits) {
  for (std::size_t i = 0; i < texts.size(); ++i) {
    KitText kit;
    std::string problem;
    if (!ReadKitText(texts[i], kit, problem)) {
      return Refused(SsvKitStatus::kKitUnreadable, problem, i);
    }
    kits.push_back(std::move(kit));
  }
  std::array<bool, kMaxShareHolders + 1> seen{};
  const KitHeader& first = kits.front().header;
  for (std::size_t i = 0; i < kits.size(); ++i) {
    const KitHeader& header = kits[i].header;
    if (header.backupId != first.backupId) {
      return Refused(SsvKitStatus::kMixedKits,
                     Holder(header) + " belongs to backup " + header.backupId + ", not to " + first.backupId, i);
    }
    if (header.componentId != first.componentId || header.created != first.created || header.holders != first.holders ||
        header.threshold != first.threshold) {
      return Refused(SsvKitStatus::kMixedKits,
                     Holder(header) + " disagrees with the first kit on component id, time, holders or threshold", i);
    }
    if (seen[header.holder]) {
      return Refused(SsvKitStatus::kDuplicateHolder, Holder(header) + " is given twice", i);
    }
    seen[header.holder] = true;
  }
  if (kits.size() < first.threshold) {
    return Refused(SsvKitStatus::kTooFewKits, "backup " + first.backupId + " needs " + std::to_string(first.threshold) +
                                                  " kits, " + std::to_string(kits.size()) + " given");
  }
  return {};
}

}  // namespace

std::string ShapeProblem(std::size_t holders, std::size_t threshold) {
  if (threshold >= kMinShareThreshold && threshold <= holders && holders <= kMaxShareHolders) {
    return {};
  }
  return "a backup needs " + std::to_string(kMinShareThreshold) +
         " <= threshold <= holders <= " + std::to_string(kMaxShareHolders) + " (threshold " +
         std::to_string(threshold) + ", holders " + std::to_string(holders) + ")";
}

std::string SsvKitShapeProblem(std::size_t holders, std::size_t threshold) noexcept {
  try {
    return ShapeProblem(holders, threshold);
  } catch (...) {
    return "out of memory";
  }
}

bool RecordRecombines(const SecureBlock& record) {
  if (record.size() != kSsvRecordSize) {
    return false;
  }
  const ShareSlots slots =
      ShareSlots::FromShareStore(std::span<const std::uint8_t>(record.data() + kShareStoreOffset, kShareStoreSize));
  SecureBlock message(sharescheme::kShareMessageSize);
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    const auto shares = slots.group(group);
    if (!shares ||
        sharescheme::CombineShares(*shares, std::span<std::uint8_t, sharescheme::kShareMessageSize>(message)) != 0) {
      return false;
    }
  }
  return true;
}

SsvKitOutcome MakeKits(const SecureBlock& record, std::size_t threshold, const std::vector<SecureBlock>& passphrases,
                       const Argon2idParameters& cost, std::vector<std::string>& kits) {
  kits.clear();
  const std::size_t holders = passphrases.size();
  if (std::string problem = ShapeProblem(holders, threshold); !problem.empty()) {
    return Refused(SsvKitStatus::kInvalidArguments, std::move(problem));
  }
  if (SsvKitOutcome checked = CheckPassphrases(holders, passphrases); checked.status != SsvKitStatus::kOk) {
    return checked;
  }
  if (!RecordRecombines(record)) {
    return Refused(SsvKitStatus::kNoSsv, "the SSV record does not recombine; it is not backed up");
  }
  std::vector<SecureBlock> shares;
  KitHeader header;
  header.componentId = ComponentIdOf(record);
  header.created = UtcTimestamp();
  header.holders = static_cast<std::uint32_t>(holders);
  header.threshold = static_cast<std::uint32_t>(threshold);
  header.kdf.parameters = cost;
  if (!NewBackupId(header.backupId) || !SplitThreshold(record, threshold, holders, shares)) {
    return Refused(SsvKitStatus::kInternalError, "the random generator failed");
  }
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < holders; ++i) {
    KitText kit{header, {}};
    kit.header.holder = static_cast<std::uint32_t>(i + 1);
    if (!RandomBytes(kit.header.kdf.salt, kKitSaltSize) || !RandomBytes(kit.header.nonce, kKitNonceSize) ||
        !SealKitShare(passphrases[i], shares[i], kit)) {
      return Refused(SsvKitStatus::kInternalError, "cannot seal the kit of " + Holder(kit.header), i);
    }
    texts.push_back(WriteKitText(kit));
  }
  kits = std::move(texts);
  SsvKitOutcome made;
  made.componentId = header.componentId;
  made.message = "backup " + header.backupId + ": " + std::to_string(holders) + " kits, any " +
                 std::to_string(threshold) + " restore the SSV";
  return made;
}

SsvKitOutcome RebuildRecord(const std::vector<std::string>& texts, const std::vector<SecureBlock>& passphrases,
                            const Argon2idParameters& minimum, SecureBlock& record) {
  record.clear();
  if (texts.empty()) {
    return Refused(SsvKitStatus::kTooFewKits, "no kits given");
  }
  if (SsvKitOutcome checked = CheckPassphrases(texts.size(), passphrases); checked.status != SsvKitStatus::kOk) {
    return checked;
  }
  std::vector<KitText> kits;
  if (SsvKitOutcome read = ReadKits(texts, kits); read.status != SsvKitStatus::kOk) {
    return read;
  }
  // Every kit given is opened, so that a damaged one is named even when enough others remain.
  std::vector<SecureBlock> opened(kits.size());
  std::vector<ThresholdShare> shares;
  for (std::size_t i = 0; i < kits.size(); ++i) {
    if (!OpenKitShare(passphrases[i], kits[i], minimum, opened[i])) {
      return Refused(SsvKitStatus::kKitDoesNotOpen,
                     Holder(kits[i].header) + ": wrong passphrase, or the kit was changed since it was made", i);
    }
    shares.push_back({static_cast<std::uint8_t>(kits[i].header.holder), opened[i]});
  }
  SecureBlock rebuilt;
  const std::string& componentId = kits.front().header.componentId;
  if (!CombineThreshold(shares, rebuilt) || !RecordRecombines(rebuilt)) {
    return Refused(SsvKitStatus::kRecordRejected, "the rebuilt SSV record does not recombine");
  }
  if (ComponentIdOf(rebuilt) != componentId) {
    return Refused(SsvKitStatus::kRecordRejected, "the rebuilt SSV record has component id " + ComponentIdOf(rebuilt) +
                                                      ", the kits name " + componentId);
  }
  record = std::move(rebuilt);
  SsvKitOutcome outcome;
  outcome.componentId = componentId;
  return outcome;
}

}  // namespace QVCryptoService
