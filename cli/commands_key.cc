// The key commands against a database keystore given with --keystore-config.

#include "cli/command_table.h"
#include "cli/commands.h"
#include "cli/io.h"
#include "cli/key_source.h"
#include "cli/record_files.h"
#include "cli/tool.h"
#include "frame/fixed_names.h"

#include <qvcryptoservice/keystore_db.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/zkjson_reader.h>
#include <qvcryptoservice/zkjson_value.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// Configuration files are small; a larger one is a mistake, not a configuration.
constexpr std::size_t kMaxConfigSize = 64 * 1024;

std::shared_ptr<QVKeystoreDb>& Configured() {
  static std::shared_ptr<QVKeystoreDb> keystore;
  return keystore;
}

QVKeystoreDb& Keystore(const Invocation& invocation) {
  if (!Configured()) {
    const std::string command = invocation.words.size() > 1 ? invocation.words[1] : "";
    Usage("key " + command + ": no keystore given; use --keystore-config FILE");
  }
  return *Configured();
}

void Check(const std::string& operation, std::int32_t code) {
  if (code != KS_SUCCESS) {
    FailedResult(operation, KeystoreResult(static_cast<EQVKeystoreCode>(code)));
  }
}

std::string Name(const Invocation& invocation) { return *CommandArgument(invocation, 0); }

std::int32_t Version(const Invocation& invocation, bool allowAll) {
  const std::string& text = *CommandArgument(invocation, 1);
  if (allowAll && text == "all") {
    return 0;
  }
  std::int32_t version = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), version);
  if (error != std::errc() || end != text.data() + text.size() || version <= 0) {
    Usage("version \"" + text + "\" is not a positive number" + (allowAll ? " or \"all\"" : ""));
  }
  return version;
}

std::string UtcTime(std::int64_t seconds) {
  if (seconds <= 0) {
    return "-";
  }
  using namespace std::chrono;
  const sys_seconds time{std::chrono::seconds(seconds)};
  const sys_days day = floor<days>(time);
  const year_month_day date{day};
  const hh_mm_ss clock{time - day};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

int RunKeyCreate(const Invocation& invocation) {
  QVKeystoreDb& keystore = Keystore(invocation);
  const std::string name = Name(invocation);
  QVKeyControlData ctl;
  if (const std::string* algorithm = invocation.Value("--algorithm")) {
    ctl.algorithm = *algorithm;
  } else {
    // The engines sign with the integrity key under SHA-256 and encrypt with the other names.
    ctl.algorithm = name == kFixedIntegrityKey ? kFixedDigest : kFixedCipher;
  }
  Check("key create " + name, keystore.createKey(name, &ctl));
  SecureBlock key;
  QVKeyControlData created;
  Check("key create " + name, keystore.getKey(name, key, created, 0));
  WriteStandardOutput("created " + name + " version " + std::to_string(created.version) + " (" + created.algorithm +
                      ", " + std::to_string(created.keyLength) + " bytes)\n");
  return kExitOk;
}

int RunKeyRotate(const Invocation& invocation) {
  QVKeystoreDb& keystore = Keystore(invocation);
  const std::string name = Name(invocation);
  SecureBlock key;
  QVKeyControlData before;
  const bool hadCurrent = keystore.getKey(name, key, before, 0) == KS_SUCCESS;
  Check("key rotate " + name, keystore.reKey(name));
  QVKeyControlData after;
  Check("key rotate " + name, keystore.getKey(name, key, after, 0));
  std::string line = "rotated " + name + ": version " + std::to_string(after.version) + " active";
  if (hadCurrent) {  // version 0 is the active version or nothing
    line += ", version " + std::to_string(before.version) + " deactivated (still decrypts and validates)";
  }
  WriteStandardOutput(line + "\n");
  return kExitOk;
}

int RunKeyList(const Invocation& invocation) {
  QVKeystoreDb& keystore = Keystore(invocation);
  std::vector<QVKeyDescription> keys;
  Check("key list", keystore.describeKeys(keys));
  std::size_t nameWidth = 4;
  for (const QVKeyDescription& key : keys) {
    nameWidth = std::max(nameWidth, key.name.size());
  }
  std::string text;
  char line[512];
  std::snprintf(line, sizeof line, "%-*s  %7s  %-11s  %-12s  %-20s  %s\n", static_cast<int>(nameWidth), "NAME",
                "VERSION", "STATE", "ALGORITHM", "CREATED", "DEACTIVATED");
  text += line;
  for (const QVKeyDescription& key : keys) {
    std::snprintf(line, sizeof line, "%-*s  %7d  %-11s  %-12s  %-20s  %s\n", static_cast<int>(nameWidth),
                  key.name.c_str(), key.version, QVKeystoreDb::stateName(key.state).c_str(), key.algorithm.c_str(),
                  UtcTime(key.createdAt).c_str(), UtcTime(key.deactivatedAt).c_str());
    text += line;
  }
  WriteStandardOutput(text);
  return kExitOk;
}

// UnlessUsed enforces --unless-used-in PATH...: the change is refused (exit 3) while a text in
// those files was made with the version, unless --force, which goes on and says what it overrode.
void UnlessUsed(const Invocation& invocation, const std::string& operation, const std::string& name,
                std::int32_t version) {
  const std::vector<std::string> paths = CommandArguments(invocation, 2);
  if (!invocation.Has("--unless-used-in")) {
    if (!paths.empty()) {
      Usage("unexpected argument \"" + paths.front() + "\" (paths go after --unless-used-in)");
    }
    if (invocation.Has("--force")) {
      Usage("--force applies only with --unless-used-in");
    }
    return;
  }
  if (paths.empty()) {
    Usage("--unless-used-in: no PATH given");
  }
  const KeyUse use = FindKeyUse(paths, name, version);
  if (use.texts == 0) {
    return;
  }
  constexpr std::size_t kFilesNamed = 3;
  std::string where;
  for (std::size_t index = 0; index < use.files.size() && index < kFilesNamed; ++index) {
    where += (index == 0 ? "" : ", ") + use.files[index];
  }
  if (use.files.size() > kFilesNamed) {
    where += " and " + std::to_string(use.files.size() - kFilesNamed) + " more files";
  }
  const std::string texts = std::to_string(use.texts) + (use.texts == 1 ? " text" : " texts");
  if (!invocation.Has("--force")) {
    Failed(operation + ": still used by " + texts + " in " + where +
           "; rewrap them under a newer version first, or use --force");
  }
  std::fprintf(stderr, "qvcrypto: %s: --force: going on although %s in %s still use it\n", operation.c_str(),
               texts.c_str(), where.c_str());
}

int RunKeyRetire(const Invocation& invocation) {
  QVKeystoreDb& keystore = Keystore(invocation);
  const std::string name = Name(invocation);
  const std::int32_t version = Version(invocation, false);
  UnlessUsed(invocation, "key retire " + name + " " + std::to_string(version), name, version);
  Check("key retire " + name + " " + std::to_string(version), keystore.retireKey(name, version));
  WriteStandardOutput("retired " + name + " version " + std::to_string(version) +
                      " (still decrypts and validates; no longer encrypts or signs)\n");
  return kExitOk;
}

int RunKeyDestroy(const Invocation& invocation) {
  QVKeystoreDb& keystore = Keystore(invocation);
  const std::string name = Name(invocation);
  const std::int32_t version = Version(invocation, true);
  const std::string which = version == 0 ? "every version of " + name : name + " version " + std::to_string(version);
  UnlessUsed(invocation, "key destroy " + which, name, version);
  Check("key destroy " + which, keystore.destroyKey(name, version));
  WriteStandardOutput("destroyed " + which + " (texts made with it can no longer be read)\n");
  return kExitOk;
}

}  // namespace

const std::vector<Command>& KeyCommands() {
  static const std::vector<Command> commands = {
      {{"key", "create"},
       "key create NAME [--algorithm ALG] --keystore-config FILE",
       "make version 1 of a new random key (aes-256-cbc; sha256 for QV_HMAC_INTEGRITY_0; or ALG)",
       {"--keystore-config", "--algorithm"},
       1,
       1,
       RunKeyCreate},
      {{"key", "rotate"},
       "key rotate NAME --keystore-config FILE",
       "make a new active version; the previous one is deactivated but still decrypts and validates",
       {"--keystore-config"},
       1,
       1,
       RunKeyRotate},
      {{"key", "list"},
       "key list --keystore-config FILE",
       "every version of every key with its state, algorithm and dates (no key material)",
       {"--keystore-config"},
       0,
       0,
       RunKeyList},
      {{"key", "retire"},
       "key retire NAME VERSION --keystore-config FILE [--unless-used-in PATH... [--force]]",
       "deactivate a version: it still decrypts and validates, but no longer encrypts or signs; refused while "
       "a text in the files of PATH uses it",
       {"--keystore-config", "--unless-used-in", "--force"},
       2,
       kAnyNumber,
       RunKeyRetire},
      {{"key", "destroy"},
       "key destroy NAME VERSION|all --keystore-config FILE [--unless-used-in PATH... [--force]]",
       "erase a version's material (or every version's); texts made with it can no longer be read; refused "
       "while a text in the files of PATH uses it",
       {"--keystore-config", "--unless-used-in", "--force"},
       2,
       kAnyNumber,
       RunKeyDestroy},
  };
  return commands;
}

void UseKeystoreConfig(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    Usage("cannot read keystore configuration " + file);
  }
  std::string text(kMaxConfigSize + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  if (text.size() > kMaxConfigSize) {
    Usage("keystore configuration " + file + " is larger than 64 KiB");
  }
  zkJson::Value config;
  zkJson::Reader reader;
  if (!reader.parse(text, config, false)) {
    std::string why = Trim(reader.getFormattedErrorMessages());
    std::replace(why.begin(), why.end(), '\n', ' ');
    Usage("keystore configuration " + file + " is not JSON: " + why);
  }
  auto keystore = std::make_shared<QVKeystoreDb>();
  std::string reason;
  const std::int32_t code = keystore->initialize(config, reason);
  const std::string because = reason.empty() ? std::string() : ": " + reason;
  if (code == KS_ERR_INVALID_PARAMETERS) {
    Usage("keystore configuration " + file + " is not valid" + because +
          " (backend \"sqlite\" or \"postgresql\", its \"path\" or \"connection\", and a \"masterKey\" "
          "whose file or variable holds 64 hexadecimal digits)");
  }
  Check("keystore " + file + because, code);
  Configured() = keystore;
  (void)SetKeystore(std::string(kDefaultKeystoreName), keystore);
}

}  // namespace qvcrypto
