#include "hashing/argon2_record.h"

#include <qvcryptoservice/zkjson.h>

#include "json/record_text.h"
#include "primitives/base64_codec.h"

#include <array>
#include <exception>
#include <optional>

namespace QVCryptoService {
namespace {

constexpr const char* kAlgorithmName = "argon2id";

// Every member of the record, in the order the writer puts them (ascending by name).
constexpr std::array<std::string_view, 7> kMemberNames{"a", "di", "m", "p", "sa", "t", "v"};

std::optional<std::uint32_t> UnsignedMember(const zkJson::Value& member) {
  if (!member.isUInt()) {
    return std::nullopt;
  }
  return member.asUInt();
}

std::optional<std::vector<std::uint8_t>> BytesMember(const zkJson::Value& member) {
  std::vector<std::uint8_t> bytes;
  if (!member.isString() || !DecodeBase64(member.asString(), bytes, Base64Form::kWellFormed)) {
    return std::nullopt;
  }
  return bytes;
}

bool HasExactlyTheRecordMembers(const zkJson::Value& root) {
  if (!root.isObject()) {
    return false;
  }
  const zkJson::Value::Members names = root.getMemberNames();
  return std::equal(names.begin(), names.end(), kMemberNames.begin(), kMemberNames.end());
}

bool ReadFromJson(const zkJson::Value& root, Argon2idHashRecord& record) {
  if (!HasExactlyTheRecordMembers(root)) {
    return false;
  }
  const zkJson::Value& version = root["v"];
  if (!version.isInt64() || version.asInt64() != kArgon2idRecordVersion) {
    return false;
  }
  if (!root["a"].isString() || root["a"].asString() != kAlgorithmName) {
    return false;
  }
  const std::optional<std::uint32_t> memory = UnsignedMember(root["m"]);
  const std::optional<std::uint32_t> passes = UnsignedMember(root["t"]);
  const std::optional<std::uint32_t> lanes = UnsignedMember(root["p"]);
  if (!memory || !passes || !lanes) {
    return false;
  }
  const Argon2idParameters parameters{*memory, *passes, *lanes};
  std::optional<std::vector<std::uint8_t>> salt = BytesMember(root["sa"]);
  std::optional<std::vector<std::uint8_t>> digest = BytesMember(root["di"]);
  if (!Argon2idParametersWithinBounds(parameters) || !salt || !Argon2idSaltLengthWithinBounds(salt->size()) ||
      !digest || !Argon2idDigestLengthWithinBounds(digest->size())) {
    return false;
  }
  record.parameters = parameters;
  record.salt = std::move(*salt);
  record.digest = std::move(*digest);
  return true;
}

}  // namespace

bool Argon2idParametersWithinBounds(const Argon2idParameters& parameters) {
  return parameters.lanes >= kArgon2idMinLanes && parameters.lanes <= kArgon2idMaxLanes &&
         parameters.passes >= kArgon2idMinPasses && parameters.passes <= kArgon2idMaxPasses &&
         parameters.memoryKiB >= kArgon2idMinMemoryKiB && parameters.memoryKiB <= kArgon2idMaxMemoryKiB &&
         parameters.memoryKiB / kArgon2idMinMemoryKiBPerLane >= parameters.lanes;
}

bool Argon2idSaltLengthWithinBounds(std::size_t length) {
  return length >= kArgon2idMinSaltBytes && length <= kArgon2idMaxSaltBytes;
}

bool Argon2idDigestLengthWithinBounds(std::size_t length) {
  return length >= kArgon2idMinDigestBytes && length <= kArgon2idMaxDigestBytes;
}

bool ReadArgon2idRecord(std::string_view serialized, Argon2idHashRecord& record) {
  try {
    std::vector<std::uint8_t> json;
    if (!DecodeBase64(serialized, json, Base64Form::kWellFormed)) {
      return false;
    }
    zkJson::Value root;
    return ParseRecordText(std::string(json.begin(), json.end()), root) && ReadFromJson(root, record);
  } catch (const std::exception&) {
    return false;
  }
}

std::string WriteArgon2idRecord(const Argon2idHashRecord& record) {
  zkJson::Value root;
  root["v"] = zkJson::Value(kArgon2idRecordVersion);
  root["a"] = zkJson::Value(kAlgorithmName);
  root["m"] = zkJson::Value(record.parameters.memoryKiB);
  root["t"] = zkJson::Value(record.parameters.passes);
  root["p"] = zkJson::Value(record.parameters.lanes);
  root["sa"] = zkJson::Value(Base64Field(record.salt));
  root["di"] = zkJson::Value(Base64Field(record.digest));
  return WrapRecordText(CompactRecordText(root));
}

}  // namespace QVCryptoService
