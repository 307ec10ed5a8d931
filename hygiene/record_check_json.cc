// The names and JSON forms of the upgrade check, for the C function and the tool.

#include <qvcryptoservice/record_hygiene.h>
#include <qvcryptoservice/zkjson.h>

#include <limits>
#include <optional>

namespace QVCryptoService {
namespace {

// Policy texts are a handful of members; a larger one is not a policy.
constexpr std::size_t kMaxPolicyText = 4096;

std::optional<std::int64_t> MemberInteger(const zkJson::Value& object, const char* name, std::int64_t lowest,
                                          std::int64_t highest) {
  const zkJson::Value& member = object[name];
  if (!member.isInt64() || member.asInt64() < lowest || member.asInt64() > highest) {
    return std::nullopt;
  }
  return member.asInt64();
}

}  // namespace

const char* RecordKindName(RecordKind kind) noexcept {
  switch (kind) {
    case RecordKind::kKeystoreCipherText:
      return "keystore cipher text";
    case RecordKind::kPasswordCipherText:
      return "password cipher text";
    case RecordKind::kSsvText:
      return "ssv text";
    case RecordKind::kDigest:
      return "digest";
    case RecordKind::kChecksum:
      return "checksum";
    case RecordKind::kPbkdf2PasswordHash:
      return "pbkdf2 password hash";
    case RecordKind::kArgon2idPasswordHash:
      return "argon2id password hash";
    case RecordKind::kHmac:
      return "hmac";
    case RecordKind::kNotARecord:
      break;
  }
  return "not a record";
}

const char* RecordVerdictName(RecordVerdict verdict) noexcept {
  switch (verdict) {
    case RecordVerdict::kCurrent:
      return "current";
    case RecordVerdict::kRemake:
      return "re-make";
    case RecordVerdict::kCannotJudge:
      return "cannot judge";
    case RecordVerdict::kNotARecord:
      break;
  }
  return "not a record";
}

std::string RecordCheckToJson(const RecordCheck& check) noexcept {
  try {
    zkJson::Value value(zkJson::objectValue);
    value["kind"] = zkJson::Value(RecordKindName(check.kind));
    value["verdict"] = zkJson::Value(RecordVerdictName(check.verdict));
    zkJson::Value reasons(zkJson::arrayValue);
    for (const std::string& reason : check.reasons) {
      reasons.append(zkJson::Value(reason));
    }
    value["reasons"] = std::move(reasons);
    if (!check.keyName.empty()) {
      value["keyName"] = zkJson::Value(check.keyName);
      value["keyVersion"] = zkJson::Value(check.keyVersion);
      value["keyState"] = zkJson::Value(check.keyState);
      value["activeVersion"] = zkJson::Value(check.activeVersion);
    }
    return zkJson::FastWriter(zkJson::WriterOptions{false, false}).write(value);
  } catch (...) {
    return {};
  }
}

bool RecordPolicyFromJson(const std::string& json, RecordPolicy& policy) noexcept {
  try {
    zkJson::Value root;
    zkJson::Reader reader;
    if (json.size() > kMaxPolicyText || !reader.parse(json, root, false) || !root.isObject()) {
      return false;
    }
    RecordPolicy read = policy;
    constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t kUint32Max = std::numeric_limits<std::uint32_t>::max();
    for (const std::string& name : root.getMemberNames()) {
      const zkJson::Value& member = root[name];
      if (name == "minIterations") {
        const auto number = MemberInteger(root, "minIterations", 1, kInt32Max);
        if (!number) {
          return false;
        }
        read.minPbkdf2Iterations = static_cast<std::int32_t>(*number);
      } else if (name == "minArgon2idMemoryKiB" || name == "minArgon2idPasses") {
        const auto number = MemberInteger(root, name.c_str(), 1, kUint32Max);
        if (!number) {
          return false;
        }
        (name == "minArgon2idPasses" ? read.minArgon2idPasses : read.minArgon2idMemoryKiB) =
            static_cast<std::uint32_t>(*number);
      } else if (name == "prefer" && member.isString() && member.asString() == "pbkdf2") {
        read.preferredPasswordHash = PasswordHashKind::kPbkdf2;
      } else if (name == "prefer" && member.isString() && member.asString() == "argon2id") {
        read.preferredPasswordHash = PasswordHashKind::kArgon2id;
      } else if (name == "prefer" && member.isString() && member.asString() == "either") {
        read.preferredPasswordHash = PasswordHashKind::kEither;
      } else if (name == "keystore" && member.isString() && !member.asString().empty()) {
        read.keystoreName = member.asString();
      } else {
        return false;
      }
    }
    policy = std::move(read);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace QVCryptoService
