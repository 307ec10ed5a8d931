#include "ssv/recovery_kit/kit_text.h"

#include "primitives/base64_codec.h"
#include "ssv/component_id.h"
#include "ssv/record_layout.h"
#include "ssv/recovery_kit/threshold_shares.h"

#include <qvcryptoservice/zkjson_reader.h>
#include <qvcryptoservice/zkjson_writer.h>

#include <chrono>
#include <cstdio>

namespace QVCryptoService {

namespace {

constexpr const char* kSealedMember = "sealed";

std::string Base64(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  AppendBase64(text, bytes.data(), bytes.size());
  return text;
}

zkJson::Value HeaderObject(const KitHeader& header) {
  zkJson::Value object(zkJson::objectValue);
  object["backup"] = header.backupId;
  object["component"] = header.componentId;
  object["created"] = header.created;
  object["format"] = std::string(kKitFormat);
  object["holder"] = header.holder;
  object["holders"] = header.holders;
  object["threshold"] = header.threshold;
  object["kdf"] = std::string(kKitKdfName);
  object["kdf-lanes"] = header.kdf.parameters.lanes;
  object["kdf-memory-kib"] = header.kdf.parameters.memoryKiB;
  object["kdf-passes"] = header.kdf.parameters.passes;
  object["kdf-salt"] = Base64(header.kdf.salt);
  object["nonce"] = Base64(header.nonce);
  return object;
}

std::string WriteObject(const zkJson::Value& object, bool lineFeed) {
  zkJson::WriterOptions options;
  options.endingLineFeed = lineFeed;
  return zkJson::FastWriter(options).write(object);
}

bool LowerHex(const std::string& text, std::size_t size) {
  return text.size() == size && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool ReadString(const zkJson::Value& object, const char* name, std::size_t maxSize, std::string& out) {
  const zkJson::Value& member = object[name];
  if (!member.isString() || member.asString().size() > maxSize) {
    return false;
  }
  out = member.asString();
  return true;
}

bool ReadNumber(const zkJson::Value& object, const char* name, std::uint32_t& out) {
  const zkJson::Value& member = object[name];
  if (!member.isUInt()) {
    return false;
  }
  out = member.asUInt();
  return true;
}

bool ReadBytes(const zkJson::Value& object, const char* name, std::size_t size, std::vector<std::uint8_t>& out) {
  std::string text;
  return ReadString(object, name, kMaxKitTextSize, text) && DecodeBase64(text, out, Base64Form::kCanonical) &&
         out.size() == size;
}

// ReadFields fills `kit` from the parsed object; the problem in a few words when a field is
// missing, of the wrong kind or out of range.
bool ReadFields(const zkJson::Value& object, KitText& kit, std::string& problem) {
  KitHeader& header = kit.header;
  std::string format;
  if (!ReadString(object, "format", kKitFormat.size(), format) || format != kKitFormat) {
    problem = "not an SSV recovery kit";
    return false;
  }
  if (!ReadNumber(object, "holder", header.holder) || !ReadNumber(object, "holders", header.holders) ||
      !ReadNumber(object, "threshold", header.threshold) || header.holders > kMaxShareHolders ||
      header.threshold < kMinShareThreshold || header.threshold > header.holders || header.holder < 1 ||
      header.holder > header.holders) {
    problem = "holder number, holder count or threshold missing or out of range";
    return false;
  }
  if (!ReadString(object, "backup", 2 * kKitBackupIdSize, header.backupId) ||
      !LowerHex(header.backupId, 2 * kKitBackupIdSize) ||
      !ReadString(object, "component", kComponentIdSize, header.componentId) ||
      !LowerHex(header.componentId, kComponentIdSize) ||
      !ReadString(object, "created", sizeof "YYYY-MM-DDTHH:MM:SSZ" - 1, header.created)) {
    problem = "backup id, component id or creation time missing or malformed";
    return false;
  }
  std::string kdf;
  if (!ReadString(object, "kdf", kKitKdfName.size(), kdf) || kdf != kKitKdfName ||
      !ReadNumber(object, "kdf-lanes", header.kdf.parameters.lanes) ||
      !ReadNumber(object, "kdf-memory-kib", header.kdf.parameters.memoryKiB) ||
      !ReadNumber(object, "kdf-passes", header.kdf.parameters.passes) ||
      !ReadBytes(object, "kdf-salt", kKitSaltSize, header.kdf.salt)) {
    problem = "key derivation unknown or its parameters malformed";
    return false;
  }
  if (header.kdf.parameters.memoryKiB > kKitMaxMemoryKiB || header.kdf.parameters.passes > kKitMaxPasses) {
    problem = "not a kit this library writes: its key derivation asks for more than " +
              std::to_string(kKitMaxMemoryKiB) + " KiB or " + std::to_string(kKitMaxPasses) + " passes";
    return false;
  }
  if (!ReadBytes(object, "nonce", kKitNonceSize, header.nonce) ||
      !ReadBytes(object, kSealedMember, kSsvRecordSize + kKitTagSize, kit.sealed)) {
    problem = "sealed share or its nonce malformed";
    return false;
  }
  return true;
}

}  // namespace

std::string WriteKitText(const KitText& kit) {
  zkJson::Value object = HeaderObject(kit.header);
  object[kSealedMember] = Base64(kit.sealed);
  return WriteObject(object, true);
}

std::string KitAssociatedData(const KitHeader& header) { return WriteObject(HeaderObject(header), false); }

bool ReadKitText(std::string_view text, KitText& kit, std::string& problem) {
  if (text.size() > kMaxKitTextSize) {
    problem = "too long for a recovery kit";
    return false;
  }
  zkJson::Value object;
  zkJson::Reader reader(zkJson::ReaderMode::kStrict);
  if (!reader.parse(text, object) || !object.isObject()) {
    problem = "not an SSV recovery kit (not a JSON object)";
    return false;
  }
  KitText read;
  if (!ReadFields(object, read, problem)) {
    return false;
  }
  // Any byte the writing would not reproduce (a member added, a changed escape or number form,
  // white space) marks the kit as damaged, even where the seal would not notice.
  const std::string written = WriteKitText(read);
  if (written.size() != text.size() || written.compare(0, written.size(), text.data(), text.size()) != 0) {
    problem = "damaged: not in the form in which kits are written";
    return false;
  }
  kit = std::move(read);
  return true;
}

std::string UtcTimestamp() {
  using namespace std::chrono;
  const auto now = floor<seconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  char text[32];
  (void)std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                      static_cast<int>(time.seconds().count()));
  return text;
}

}  // namespace QVCryptoService
