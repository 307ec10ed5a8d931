#pragma once

// The upgrade check: given one serialized text that this library wrote and a policy, says what
// kind of record it is, which key version made it, and whether it is current or should be made
// again (and why). It needs neither the plain text nor the password, reads the keystore only
// (getKey), and changes nothing.
//
// How a text made with the built-in demo key is told apart: the built-in keystore has no
// versions, so every keystore text and HMAC record it keys carries key version 0, while a
// database keystore numbers the versions of a key from 1. A key version of 0 in a record is
// therefore the demo key, whichever keystore is consulted.

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/qvcs_export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QVCryptoService {

// The key version of every keystore text and HMAC record made with the built-in demo key.
inline constexpr std::int32_t kDemoKeyVersion = 0;

enum class RecordKind : std::int32_t {
  kNotARecord = 0,
  kKeystoreCipherText = 1,
  kPasswordCipherText = 2,
  kSsvText = 3,  // base64 of IV and cipher blocks: nothing in it can be judged
  kDigest = 4,
  kChecksum = 5,
  kPbkdf2PasswordHash = 6,    // password-hash record version 1
  kArgon2idPasswordHash = 7,  // password-hash record version 2
  kHmac = 8,
};

enum class RecordVerdict : std::int32_t {
  kCurrent = 0,
  kRemake = 1,       // should be made again; `reasons` says why
  kNotARecord = 2,   // no record this library writes
  kCannotJudge = 3,  // a record whose freshness cannot be told here (SSV text, keystore absent)
};

// Which password hashes a policy wants; kEither judges each kind by its own work factors only.
enum class PasswordHashKind : std::int32_t { kPbkdf2 = 0, kArgon2id = 1, kEither = 2 };

struct RecordPolicy {
  // PBKDF2 records (password hashes and password cipher texts) below this count are outdated;
  // the library itself writes 10000.
  std::int32_t minPbkdf2Iterations = 10000;
  // With kPbkdf2 or kArgon2id, a password hash of the other kind is outdated.
  PasswordHashKind preferredPasswordHash = PasswordHashKind::kEither;
  // Argon2id password hashes below these are outdated.
  std::uint32_t minArgon2idMemoryKiB = kArgon2idPolicyDefault.memoryKiB;
  std::uint32_t minArgon2idPasses = kArgon2idPolicyDefault.passes;
  // The registered keystore whose key states are consulted.
  std::string keystoreName = kDefaultKeystoreName;
};

struct RecordCheck {
  RecordKind kind = RecordKind::kNotARecord;
  RecordVerdict verdict = RecordVerdict::kNotARecord;
  // Keystore texts and HMAC records: the key that made them, its state in the keystore (KMIP
  // numbering as QVKeyControlData::state; 0 when not found) and the key's active version (0
  // when it has none or it was not found).
  std::string keyName;
  std::int32_t keyVersion = 0;
  std::int32_t keyState = 0;
  std::int32_t activeVersion = 0;
  // One line each, for people: why the verdict is not kCurrent.
  std::vector<std::string> reasons;
};

// CheckRecord judges `text` (surrounding white space ignored) against `policy`, consulting the
// keystore registered under policy.keystoreName (kCannotJudge for key-bound records when none
// is). Never throws: when memory runs out it answers kNotARecord with no reasons.
QVCS_EXPORT RecordCheck CheckRecord(const std::string& text, const RecordPolicy& policy) noexcept;
// The same against a given keystore (policy.keystoreName is not used).
QVCS_EXPORT RecordCheck CheckRecord(const std::string& text, const RecordPolicy& policy,
                                    IQVKeyStore& keystore) noexcept;

// Stable lower-case names, as the JSON form and the tool print them: "keystore cipher text",
// "password cipher text", "ssv text", "digest", "checksum", "pbkdf2 password hash",
// "argon2id password hash", "hmac", "not a record"; and "current", "re-make", "not a record",
// "cannot judge".
QVCS_EXPORT const char* RecordKindName(RecordKind kind) noexcept;
QVCS_EXPORT const char* RecordVerdictName(RecordVerdict verdict) noexcept;

// RecordCheckToJson returns the compact JSON object of a check, members sorted:
// {"activeVersion":2,"keyName":"...","keyState":3,"keyVersion":1,"kind":"...",
//  "reasons":["..."],"verdict":"..."}; key members only for keystore texts and HMAC records.
// Never throws: empty when memory runs out.
QVCS_EXPORT std::string RecordCheckToJson(const RecordCheck& check) noexcept;

// RecordPolicyFromJson reads a policy from a JSON object with any of the members
// "minIterations", "prefer" ("pbkdf2" or "argon2id"), "minArgon2idMemoryKiB",
// "minArgon2idPasses" and "keystore"; absent members keep their value in `policy`. False (and
// `policy` unchanged) for text that is not such an object or a value out of range.
QVCS_EXPORT bool RecordPolicyFromJson(const std::string& json, RecordPolicy& policy) noexcept;

}  // namespace QVCryptoService
