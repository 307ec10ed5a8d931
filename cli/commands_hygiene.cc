// Record hygiene on the command line: audit files of texts against a policy, and re-make their
// outdated keystore texts in place.

#include "cli/commands.h"
#include "cli/io.h"
#include "cli/key_source.h"
#include "cli/record_files.h"
#include "cli/result_names.h"
#include "cli/tool.h"
#include "platform/replacement_file.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/record_hygiene.h>
#include <qvcryptoservice/zkjson.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <span>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

const std::string kKeystore(kDefaultKeystoreName);

RecordPolicy PolicyOf(const Invocation& invocation) {
  RecordPolicy policy;
  if (const std::string* text = invocation.Value("--min-iterations")) {
    std::int32_t count = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), count);
    if (error != std::errc() || end != text->data() + text->size() || count <= 0) {
      Usage("--min-iterations \"" + *text + "\" is not a positive number");
    }
    policy.minPbkdf2Iterations = count;
  }
  if (const std::string* kind = invocation.Value("--prefer")) {
    if (*kind == "argon2id") {
      policy.preferredPasswordHash = PasswordHashKind::kArgon2id;
    } else if (*kind == "pbkdf2") {
      policy.preferredPasswordHash = PasswordHashKind::kPbkdf2;
    } else if (*kind != "either") {
      Usage("--prefer \"" + *kind + "\" is not pbkdf2, argon2id or either");
    }
  }
  return policy;
}

struct Audited {
  FileText where;
  RecordCheck check;
};

std::string KeyColumn(const RecordCheck& check) {
  return check.keyName.empty() ? "-" : check.keyName + " v" + std::to_string(check.keyVersion);
}

std::string ReasonColumn(const RecordCheck& check) {
  std::string joined;
  for (const std::string& reason : check.reasons) {
    joined += (joined.empty() ? "" : "; ") + reason;
  }
  return joined.empty() ? "-" : joined;
}

std::string Texts(std::size_t count) { return std::to_string(count) + (count == 1 ? " text" : " texts"); }

std::string Table(const std::vector<Audited>& audited) {
  std::vector<std::array<std::string, 6>> rows = {{"FILE", "LINE", "KIND", "KEY", "VERDICT", "REASON"}};
  for (const Audited& entry : audited) {
    rows.push_back({entry.where.file, std::to_string(entry.where.line), RecordKindName(entry.check.kind),
                    KeyColumn(entry.check), RecordVerdictName(entry.check.verdict), ReasonColumn(entry.check)});
  }
  std::array<std::size_t, 6> widths{};
  for (const auto& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
      text += row[column] + std::string(widths[column] - row[column].size() + 2, ' ');
    }
    text += row.back() + "\n";
  }
  return text;
}

// The texts per key version ("QV_ENCYPT_DECRYPT_0 v1": 3) and per verdict.
std::map<std::string, std::size_t> PerKeyVersion(const std::vector<Audited>& audited) {
  std::map<std::string, std::size_t> counts;
  for (const Audited& entry : audited) {
    if (!entry.check.keyName.empty()) {
      ++counts[KeyColumn(entry.check)];
    }
  }
  return counts;
}

std::map<std::string, std::size_t> PerVerdict(const std::vector<Audited>& audited) {
  std::map<std::string, std::size_t> counts;
  for (const Audited& entry : audited) {
    ++counts[RecordVerdictName(entry.check.verdict)];
  }
  return counts;
}

std::string Summary(const std::vector<Audited>& audited) {
  std::string text = "\n";
  for (const auto& [key, count] : PerKeyVersion(audited)) {
    text += key + ": " + Texts(count) + (key.ends_with(" v0") ? " (built-in demo key)" : "") + "\n";
  }
  std::string verdicts;
  for (const auto& [verdict, count] : PerVerdict(audited)) {
    verdicts += (verdicts.empty() ? "" : ", ") + std::to_string(count) + " " + verdict;
  }
  return text + Texts(audited.size()) + (verdicts.empty() ? "" : ": " + verdicts) + "\n";
}

std::string Json(const std::vector<Audited>& audited) {
  zkJson::Value root(zkJson::objectValue);
  zkJson::Value records(zkJson::arrayValue);
  zkJson::Reader reader;
  for (const Audited& entry : audited) {
    zkJson::Value record;
    if (!reader.parse(RecordCheckToJson(entry.check), record, false)) {
      Failed("audit: cannot write the JSON form");
    }
    record["file"] = zkJson::Value(entry.where.file);
    record["line"] = zkJson::Value(static_cast<std::uint64_t>(entry.where.line));
    records.append(std::move(record));
  }
  root["records"] = std::move(records);
  zkJson::Value keys(zkJson::objectValue);
  for (const auto& [key, count] : PerKeyVersion(audited)) {
    keys[key] = zkJson::Value(static_cast<std::uint64_t>(count));
  }
  root["keyVersions"] = std::move(keys);
  zkJson::Value verdicts(zkJson::objectValue);
  for (const auto& [verdict, count] : PerVerdict(audited)) {
    verdicts[verdict] = zkJson::Value(static_cast<std::uint64_t>(count));
  }
  root["verdicts"] = std::move(verdicts);
  return zkJson::FastWriter().write(root);
}

// The engine that reads texts made with the built-in demo key, whatever keystore the command
// line registered: rewrap --in-place moves them under the configured keystore's active version.
std::shared_ptr<QVCrypto> DemoKeyEngine() {
  auto keystores = std::make_shared<CQVKeystoreMgr>();
  (void)keystores->AddKeystore(kKeystore, std::make_shared<QVKeystoreStatic>());
  return std::make_shared<QVCrypto>(keystores);
}

// Rewrap re-makes one outdated keystore text under the active version of its key: the reason it
// could not, or nothing.
std::optional<std::string> Rewrap(const std::string& text, std::string& rewrapped) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(text, meta, bytes)) {
    return "not a keystore text";
  }
  const std::shared_ptr<QVCrypto> engine = QVpax::getInstance()->CryptoIntrf();
  const std::shared_ptr<QVCrypto> reader = meta.keyVersion == 0 ? DemoKeyEngine() : engine;
  SecureBlock plain;
  PxaResult result = reader->decrypt(kKeystore, meta.cipherName, meta.keyName, text, plain);
  if (result != PXA_OK) {
    return "cannot decrypt with " + meta.keyName + " version " + std::to_string(meta.keyVersion) + ": " +
           PxaErrorReason(result) + " [" + Hex(result) + "]";
  }
  result = engine->encrypt(kKeystore, meta.cipherName, meta.keyName, std::move(plain), rewrapped);
  if (result != PXA_OK) {
    return "cannot encrypt with the active version of " + meta.keyName + ": " + PxaErrorReason(result) + " [" +
           Hex(result) + "]";
  }
  return std::nullopt;
}

// What rewrap --in-place did to one file: the texts it re-made, and the lines of the demo-key
// texts it left as they were.
struct FileRewrap {
  std::size_t remade = 0;
  std::vector<std::size_t> demoKeyLinesLeft;
};

// RewrapFile re-makes the file's outdated keystore texts, one per line, keeping every other byte,
// and replaces the file only when all of them were re-made. Demo-key texts are re-made only when
// `includeDemoKey`: anyone can make one, so re-making it under a real key would vouch for what may
// be a forgery. The reason it failed, or nothing.
std::optional<std::string> RewrapFile(const std::string& file, bool includeDemoKey, FileRewrap& done) {
  const std::string content = ReadWholeFile(file);
  const RecordPolicy policy;
  std::string replaced;
  std::size_t copied = 0;
  done = FileRewrap{};
  for (const FileText& line : TextsOf(file, content, true)) {
    const RecordCheck check = CheckRecord(line.text, policy);
    if (check.kind != RecordKind::kKeystoreCipherText || check.verdict != RecordVerdict::kRemake) {
      continue;
    }
    if (check.keyVersion == kDemoKeyVersion && !includeDemoKey) {
      done.demoKeyLinesLeft.push_back(line.line);
      continue;
    }
    std::string rewrapped;
    if (const std::optional<std::string> failure = Rewrap(line.text, rewrapped)) {
      return "line " + std::to_string(line.line) + ": " + *failure;
    }
    // Everything around the texts is copied as it was.
    replaced.append(content, copied, line.offset - copied);
    replaced += rewrapped;
    copied = line.offset + line.text.size();
    ++done.remade;
  }
  if (done.remade == 0) {
    return std::nullopt;
  }
  replaced.append(content, copied);
  platform::ReplacementFile replacement(file, platform::ReplacementMode::kKeepExisting);
  if (!replacement.Write(std::span(reinterpret_cast<const std::uint8_t*>(replaced.data()), replaced.size())) ||
      !replacement.Commit()) {
    return "cannot replace the file";
  }
  return std::nullopt;
}

std::string Report(const std::string& file, const FileRewrap& done) {
  if (done.remade == 0 && done.demoKeyLinesLeft.empty()) {
    return file + ": nothing to re-make\n";
  }
  std::string report = file + ": " + Texts(done.remade) + " re-made\n";
  for (const std::size_t line : done.demoKeyLinesLeft) {
    report += file + ": line " + std::to_string(line) + " left: made with the built-in demo key; use " +
              std::string(kIncludeDemoKey) + " to re-make it\n";
  }
  return report;
}

}  // namespace

int RunAudit(const Invocation& invocation) {
  const RecordPolicy policy = PolicyOf(invocation);
  const std::vector<std::string> paths = CommandArguments(invocation, 0);
  // Everything is read before anything is printed: an unreadable input ends the command alone.
  std::vector<FileText> texts;
  for (const std::string& file : ListFiles(paths)) {
    std::vector<FileText> found = TextsOf(file, ReadWholeFile(file), invocation.Has("--lines"));
    texts.insert(texts.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
  }
  std::vector<Audited> audited;
  bool outdated = false;
  for (FileText& text : texts) {
    RecordCheck check = CheckRecord(text.text, policy);
    outdated = outdated || check.verdict == RecordVerdict::kRemake || check.verdict == RecordVerdict::kNotARecord;
    audited.push_back({std::move(text), std::move(check)});
  }
  WriteStandardOutput(invocation.Has("--json") ? Json(audited) : Table(audited) + Summary(audited));
  return outdated ? kExitFalse : kExitOk;
}

int RunRewrapCommand(const Invocation& invocation) {
  if (!invocation.Has("--in-place")) {
    if (invocation.Has(kIncludeDemoKey)) {
      Usage(std::string(kIncludeDemoKey) + " applies only with --in-place");
    }
    if (const std::string* extra = CommandArgument(invocation, 1)) {
      Usage("unexpected argument \"" + *extra + "\"; usage: qvcrypto " + std::string(kRewrapSynopsis));
    }
    return RunRewrap(invocation);
  }
  if (CommandArgument(invocation, 0) == nullptr) {
    Usage("rewrap --in-place: no PATH given");
  }
  if (invocation.Value("--output") != nullptr) {
    Usage("rewrap --in-place replaces the files themselves; --output is for one text");
  }
  if (invocation.Has("--demo-key") || invocation.Value("--keystore") != nullptr) {
    Usage("rewrap --in-place needs --keystore-config FILE: the built-in demo key has no version to move texts to");
  }
  const bool includeDemoKey = invocation.Has(kIncludeDemoKey);
  if (includeDemoKey) {
    WarnOfDemoKey();
  }
  const std::vector<std::string> files = ListFiles(CommandArguments(invocation, 0));
  std::vector<std::string> failed;
  for (const std::string& file : files) {
    FileRewrap done;
    std::optional<std::string> failure;
    try {
      failure = RewrapFile(file, includeDemoKey, done);
    } catch (const ToolError& error) {
      failure = error.what();
    }
    if (failure) {
      std::fprintf(stderr, "qvcrypto: rewrap: %s left unchanged: %s\n", file.c_str(), failure->c_str());
      failed.push_back(file);
    } else {
      WriteStandardOutput(Report(file, done));
    }
  }
  if (!failed.empty()) {
    std::fprintf(stderr, "qvcrypto: rewrap: %zu of %zu files failed and were left unchanged\n", failed.size(),
                 files.size());
    return kExitFailed;
  }
  return kExitOk;
}

}  // namespace qvcrypto
