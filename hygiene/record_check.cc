// The upgrade check: a record's kind from its own reader, then the policy and the keystore.

#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/record_hygiene.h>
#include <qvcryptoservice/result.h>

#include "hygiene/record_reading.h"
#include "primitives/white_space.h"

#include <memory>
#include <string>

namespace QVCryptoService {
namespace {

// The state's name, or its number for a state no keystore of this library uses.
std::string StateName(std::int32_t state) {
  const char* name = QVKeyStateName(state);
  return name != nullptr ? name : "state " + std::to_string(state);
}

void Remake(RecordCheck& check, std::string reason) {
  check.verdict = RecordVerdict::kRemake;
  check.reasons.emplace_back(std::move(reason));
}

// Keystore texts and HMAC records: the version that made them must be the key's active one.
void JudgeKeyVersion(RecordCheck& check, IQVKeyStore* keystore, const std::string& keystoreName) {
  if (check.keyVersion == kDemoKeyVersion) {
    Remake(check, "made with the built-in demo key");
    return;
  }
  if (keystore == nullptr) {
    check.verdict = RecordVerdict::kCannotJudge;
    check.reasons.emplace_back("keystore \"" + keystoreName + "\" is not registered");
    return;
  }
  SecureBlock key;
  QVKeyControlData active;
  if (keystore->getKey(check.keyName, key, active, 0) == KS_SUCCESS) {
    if (active.version == kDemoKeyVersion) {
      check.verdict = RecordVerdict::kCannotJudge;
      check.reasons.emplace_back("keystore \"" + keystoreName + "\" has no key versions to judge version " +
                                 std::to_string(check.keyVersion) + " by");
      return;
    }
    if (active.state == QV_KEY_ACTIVE) {
      check.activeVersion = active.version;
    }
  }
  QVKeyControlData made;
  if (keystore->getKey(check.keyName, key, made, check.keyVersion) != KS_SUCCESS) {
    Remake(check, "key version " + std::to_string(check.keyVersion) + " of " + check.keyName +
                      " is not in the keystore (destroyed or never made)");
    return;
  }
  check.keyState = made.state;
  if (check.activeVersion == 0) {
    Remake(check, "key version " + std::to_string(check.keyVersion) + " is " + StateName(made.state) + " and " +
                      check.keyName + " has no active version");
  } else if (check.keyVersion != check.activeVersion || made.state != QV_KEY_ACTIVE) {
    Remake(check, "key version " + std::to_string(check.keyVersion) + " is " + StateName(made.state) +
                      ", not the active version " + std::to_string(check.activeVersion));
  }
}

void JudgeIterations(RecordCheck& check, std::int32_t iterations, const RecordPolicy& policy) {
  if (iterations < policy.minPbkdf2Iterations) {
    Remake(check, "PBKDF2 work factor " + std::to_string(iterations) + " iterations is below the policy's " +
                      std::to_string(policy.minPbkdf2Iterations));
  }
}

RecordCheck Judge(const std::string& text, const RecordPolicy& policy, IQVKeyStore* keystore,
                  const std::string& keystoreName) {
  const ReadRecord record = ReadAnyRecord(std::string(WithoutSurroundingSpace(text)));
  RecordCheck check;
  check.kind = record.kind;
  check.verdict = RecordVerdict::kCurrent;
  switch (record.kind) {
    case RecordKind::kNotARecord:
      check.verdict = RecordVerdict::kNotARecord;
      check.reasons.emplace_back("not a record this library writes");
      break;
    case RecordKind::kKeystoreCipherText:
    case RecordKind::kHmac:
      check.keyName = record.keyName;
      check.keyVersion = record.keyVersion;
      JudgeKeyVersion(check, keystore, keystoreName);
      break;
    case RecordKind::kPasswordCipherText:
      JudgeIterations(check, record.iterations, policy);
      break;
    case RecordKind::kPbkdf2PasswordHash:
      JudgeIterations(check, record.iterations, policy);
      if (policy.preferredPasswordHash == PasswordHashKind::kArgon2id) {
        Remake(check, "password hash is PBKDF2; the policy prefers Argon2id");
      }
      break;
    case RecordKind::kArgon2idPasswordHash:
      if (record.argon2idMemoryKiB < policy.minArgon2idMemoryKiB) {
        Remake(check, "Argon2id memory " + std::to_string(record.argon2idMemoryKiB) + " KiB is below the policy's " +
                          std::to_string(policy.minArgon2idMemoryKiB));
      }
      if (record.argon2idPasses < policy.minArgon2idPasses) {
        Remake(check, "Argon2id passes " + std::to_string(record.argon2idPasses) + " are below the policy's " +
                          std::to_string(policy.minArgon2idPasses));
      }
      if (policy.preferredPasswordHash == PasswordHashKind::kPbkdf2) {
        Remake(check, "password hash is Argon2id; the policy prefers PBKDF2");
      }
      break;
    case RecordKind::kSsvText:
      check.verdict = RecordVerdict::kCannotJudge;
      check.reasons.emplace_back(
          "looks like an SSV text (IV and cipher blocks): its key is a machine's and "
          "nothing in it can be judged");
      break;
    case RecordKind::kDigest:
    case RecordKind::kChecksum:
      break;
  }
  return check;
}

}  // namespace

RecordCheck CheckRecord(const std::string& text, const RecordPolicy& policy, IQVKeyStore& keystore) noexcept {
  try {
    return Judge(text, policy, &keystore, policy.keystoreName);
  } catch (...) {
    return RecordCheck{};
  }
}

RecordCheck CheckRecord(const std::string& text, const RecordPolicy& policy) noexcept {
  try {
    const std::shared_ptr<IQVKeyStore> keystore =
        QVpax::getInstance()->GetKeystoreMgr()->GetKeystore(policy.keystoreName);
    return Judge(text, policy, keystore.get(), policy.keystoreName);
  } catch (...) {
    return RecordCheck{};
  }
}

}  // namespace QVCryptoService
