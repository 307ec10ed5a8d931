// qvcrypto: the library's operations on the command line. Data comes on standard input and goes
// to standard output; messages go to standard error. Every operation is a call into the library.

#include "cli/arguments.h"
#include "cli/command_table.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/key_source.h"
#include "cli/output.h"
#include "cli/tool.h"
#include "platform/system_directory.h"

#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/logger.h>
#include <qvcryptoservice/qvpax.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// The project's version, given by the build.
constexpr std::string_view kVersion = QVCRYPTO_VERSION;

const std::vector<std::string_view> kPasswordOptions = {"--password-file", "--password-env", "--password-prompt"};

// The options of every command that reaches a keystore key; "--keystore ZKSystem" is the long
// way of saying --demo-key.
std::vector<std::string_view> KeystoreOptions() { return {"--keystore-config", kDemoKeyOption, "--keystore"}; }

std::vector<std::string_view> WithInPlace(std::vector<std::string_view> options) {
  options.insert(options.end(), {"--in-place", kIncludeDemoKey});
  return options;
}

std::vector<std::string_view> AuditOptions() {
  std::vector<std::string_view> options = KeystoreOptions();
  options.insert(options.end(), {"--lines", "--json", "--min-iterations", "--prefer"});
  return options;
}

std::vector<std::string_view> WithPassword(std::vector<std::string_view> options) {
  options.insert(options.end(), kPasswordOptions.begin(), kPasswordOptions.end());
  return options;
}

// The commands that write a secret or a text take --output FILE.
std::vector<std::string_view> WithOutput(std::vector<std::string_view> options) {
  options.push_back(kOutputOption);
  return options;
}

std::vector<Command> BaseCommands() {
  return {
      {{"ssv", "init"},
       "ssv init [--force]",
       "make this machine's SSV (kept when one exists, replaced with --force); prints the component id",
       {"--force"},
       0,
       0,
       RunSsvInit},
      {{"ssv", "status"},
       "ssv status [--bind]",
       "where the SSV record lives and whether it was loaded from there or from the staging file, its "
       "component id, whether its shares recombine (exit 3 when not), and whether it is bound to this "
       "machine or was copied from another (--bind binds a record that has no binding yet)",
       {"--bind"},
       0,
       0,
       RunSsvStatus},
      {{"ssv", "rebind"},
       "ssv rebind",
       "bind this machine's SSV record to this machine after an intended move, replacing its binding",
       {},
       0,
       0,
       RunSsvRebind},
      {{"ssv", "encrypt"},
       "ssv encrypt [--binary] [--output FILE] < plain > text",
       "encrypt under this machine's SSV key (base64 text, or IV and cipher bytes with --binary)",
       {"--binary", kOutputOption},
       0,
       0,
       RunSsvEncrypt},
      {{"ssv", "decrypt"},
       "ssv decrypt [--binary] [--output FILE] < text > plain",
       "decrypt what 'ssv encrypt' made here",
       {"--binary", kOutputOption},
       0,
       0,
       RunSsvDecrypt},
      {{"encrypt"},
       "encrypt --keystore-config FILE | PASSWORD OPTION | --demo-key [--output FILE] < plain > text",
       "encrypt with a keystore's key or with a password (aes-256-cbc)",
       WithOutput(WithPassword(KeystoreOptions())),
       0,
       0,
       RunEncrypt},
      {{"decrypt"},
       "decrypt --keystore-config FILE | PASSWORD OPTION | --demo-key [--output FILE] < text > plain",
       "decrypt what 'encrypt' made",
       WithOutput(WithPassword(KeystoreOptions())),
       0,
       0,
       RunDecrypt},
      {{"rewrap"},
       kRewrapSynopsis,
       "re-encrypt a keystore text under the current version of its key (the same plain text, never printed), "
       "so that older versions can be retired; the text on stdin when not given. With --in-place, every "
       "outdated keystore text in the files of PATH (one per line; directories walked), the built-in demo "
       "key's only with --include-demo-key (anyone can make those); each file is replaced whole or, when one of its "
       "texts fails, left as it was and named",
       WithOutput(WithInPlace(KeystoreOptions())),
       0,
       kAnyNumber,
       RunRewrapCommand},
      {{"audit"},
       "audit [--lines] [--json] [--min-iterations N] [--prefer pbkdf2|argon2id|either] --keystore-config FILE | "
       "--demo-key PATH...",
       "judge every text in the files of PATH (one per file, or one per line with --lines; directories walked): "
       "current, or to be re-made and why; a table and a count per key version, or JSON. Exit 0 when all are "
       "current, 1 when one should be re-made or is not a record, 3 when an input cannot be read",
       AuditOptions(),
       1,
       kAnyNumber,
       RunAudit},
      {{"hash", "digest"},
       "hash digest [--output FILE] < data",
       "salted SHA-256 record of the data",
       {kOutputOption},
       0,
       0,
       RunHashDigest},
      {{"hash", "checksum"},
       "hash checksum [--output FILE] < data",
       "plain SHA-256 record of the data (same data, same text)",
       {kOutputOption},
       0,
       0,
       RunHashChecksum},
      {{"hash", "password"},
       "hash password [--argon2id [--memory-kib N] [--passes N]] [PASSWORD OPTION] [--output FILE]",
       "PBKDF2-HMAC-SHA256 password hash record; with --argon2id an Argon2id one, at the library's default "
       "costs unless given",
       WithOutput(WithPassword({"--argon2id", "--memory-kib", "--passes"})),
       0,
       0,
       RunHashPassword},
      {{"hash", "derive"},
       "hash derive [PASSWORD OPTION] [--output FILE]",
       "base64 of a 32-byte key derived from the password alone (same password, same key)",
       WithOutput(kPasswordOptions),
       0,
       0,
       RunHashDerive},
      {{"verify", "digest"},
       "verify digest RECORD < data",
       "exit 0 when the data matches the digest record, 1 if not",
       {},
       1,
       1,
       RunVerifyDigest},
      {{"verify", "checksum"},
       "verify checksum RECORD < data",
       "exit 0 when the data matches, 1 if not",
       {},
       1,
       1,
       RunVerifyChecksum},
      {{"verify", "password"},
       "verify password RECORD [PASSWORD OPTION]",
       "exit 0 when the password matches the password hash (PBKDF2 or Argon2id), 1 if not",
       kPasswordOptions,
       1,
       1,
       RunVerifyPassword},
      {{"hmac", "sign"},
       "hmac sign --keystore-config FILE | --demo-key [--output FILE] < data",
       "HMAC-SHA256 record keyed by the keystore's integrity key",
       WithOutput(KeystoreOptions()),
       0,
       0,
       RunHmacSign},
      {{"hmac", "verify"},
       "hmac verify RECORD --keystore-config FILE | --demo-key < data",
       "exit 0 when the data matches the HMAC record, 1 if not",
       KeystoreOptions(),
       1,
       1,
       RunHmacVerify},
      {{"inspect"},
       "inspect [TEXT]",
       "say which record a text is and print its fields with their meaning (text on stdin when not given)",
       {},
       0,
       1,
       RunInspect},
      {{"explain"},
       "explain VALUE",
       "message, family and code of a result value (decimal or 0x-hex)",
       {},
       1,
       1,
       RunExplain},
      {{"selftest"},
       "selftest",
       "known-answer tests and a round trip through every family in a temporary machine root",
       {},
       0,
       0,
       RunSelftest},
  };
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = [] {
    std::vector<Command> all = BaseCommands();
    const std::vector<Command>& kits = SsvKitCommands();
    all.insert(all.begin() + 2, kits.begin(), kits.end());
    const std::vector<Command>& keys = KeyCommands();
    all.insert(all.end(), keys.begin(), keys.end());
    return all;
  }();
  return commands;
}

const std::vector<std::string_view> kGlobalOptions = {"--machine-root", "--verbose", "--help", "--version"};

void PrintHelp(const Command* only) {
  std::string text;
  if (only != nullptr) {
    text = "usage: qvcrypto " + std::string(only->synopsis) + "\n\n" + std::string(only->summary) + ".\n";
    if (std::find(only->options.begin(), only->options.end(), "--password-file") != only->options.end()) {
      text +=
          "\nPASSWORD OPTION: --password-file F (its first line), --password-env VAR, or --password-prompt\n"
          "(asks on the terminal without echo; the default for password commands). Never on the command line.\n";
    }
    if (std::find(only->options.begin(), only->options.end(), "--keystore-config") != only->options.end()) {
      text += "\n--keystore-config FILE: use the database keystore that FILE configures, registered as \"" +
              std::string(kDefaultKeystoreName) +
              "\"\n(JSON: {\"backend\": \"sqlite\", \"path\": F} or {\"backend\": \"postgresql\", \"connection\": S},\n"
              "with \"masterKey\": {\"source\": \"ssv\"} or {\"source\": \"host\", \"file\": F | \"env\": VAR}).\n";
    }
    if (std::find(only->options.begin(), only->options.end(), kOutputOption) != only->options.end()) {
      text +=
          "\n--output FILE: write the result to FILE instead of standard output. FILE is replaced only when the\n"
          "command succeeds (a failed one leaves it as it was); a new FILE is readable by its owner only.\n";
    }
    if (std::find(only->options.begin(), only->options.end(), kDemoKeyOption) != only->options.end()) {
      text += "\n--demo-key (or --keystore " + std::string(kDefaultKeystoreName) +
              "): use the library's built-in keystore. Its key is in every copy\n"
              "of the library, so anyone can decrypt or forge what it protects: for trying the tool only. Every\n"
              "use says so in a warning line on standard error.\n";
    }
  } else {
    text = "usage: qvcrypto [--machine-root DIR] [--verbose] COMMAND [ARGS]\n\ncommands:\n";
    for (const Command& command : Commands()) {
      text += "  " + std::string(command.synopsis) + "\n      " + std::string(command.summary) + "\n";
    }
    text += "\n--machine-root DIR  where the machine-wide state lives (POSIX; default $" +
            std::string(platform::kMachineRootVariable) + " or " + platform::kDefaultMachineRoot +
            ")\n--verbose           show the library's own diagnostics\n"
            "COMMAND --help      help for one command\n"
            "\nexit codes: 0 success, 1 a verification answered false, 2 usage error, 3 operation failed\n";
  }
  std::fputs(text.c_str(), stdout);
}

// Keeps the library's diagnostics off standard error unless asked for, so that every failure
// is reported in the tool's one line.
class ToolLogger final : public ILogger {
 public:
  explicit ToolLogger(bool verbose) : verbose_(verbose) {}
  void LogStr(ELogLevel level, const std::string& component, const std::string& function,
              const std::string& message) override {
    if (verbose_) {
      std::fprintf(stderr, "qvcrypto: library: %s [%d] %s: %s\n", component.c_str(), static_cast<int>(level),
                   function.c_str(), message.c_str());
    }
  }

 private:
  bool verbose_;
};

const Command* FindCommand(const std::vector<std::string>& words) {
  const Command* best = nullptr;
  for (const Command& command : Commands()) {
    if (command.path.size() > words.size()) {
      continue;
    }
    if (std::equal(command.path.begin(), command.path.end(), words.begin()) &&
        (best == nullptr || command.path.size() > best->path.size())) {
      best = &command;
    }
  }
  return best;
}

void CheckOptions(const Invocation& invocation, const Command& command) {
  const auto allowed = [&](std::string_view name) {
    return std::find(command.options.begin(), command.options.end(), name) != command.options.end() ||
           std::find(kGlobalOptions.begin(), kGlobalOptions.end(), name) != kGlobalOptions.end();
  };
  for (const auto& [name, value] : invocation.values) {
    if (!allowed(name)) {
      Usage("option " + name + " does not apply to '" +
            std::string(command.synopsis.substr(0, command.synopsis.find(" ["))) + "'");
    }
  }
  for (const auto& [name, list] : invocation.lists) {
    if (!allowed(name)) {
      Usage("option " + name + " does not apply to this command");
    }
  }
  for (const std::string& name : invocation.flags) {
    if (!allowed(name)) {
      Usage("option " + name + " does not apply to this command");
    }
  }
  const std::size_t arguments = invocation.words.size() - command.path.size();
  if (arguments < command.minArguments) {
    Usage("missing argument; usage: qvcrypto " + std::string(command.synopsis));
  }
  if (arguments > command.maxArguments) {
    Usage("unexpected argument \"" + invocation.words[command.path.size() + command.maxArguments] +
          "\"; usage: qvcrypto " + std::string(command.synopsis));
  }
}

void UseMachineRoot(const std::string& directory) {
  if (!console::MachineRootSupported()) {
    Usage("--machine-root is not supported here: the machine's state lives in the registry");
  }
  std::error_code error;
  if (!std::filesystem::is_directory(directory, error)) {
    Usage("machine root " + directory + " is not a directory");
  }
  const std::filesystem::path absolute = std::filesystem::absolute(directory, error);
  if (error || !console::SetEnvironment(platform::kMachineRootVariable, absolute.string())) {
    Failed("cannot use machine root " + directory);
  }
}

int Run(int argc, const char* const* argv) {
  // Help and messages too, so that every output is the same bytes on every platform.
  console::UseBinaryStandardStreams();
  // What comes in on standard input is often the secret itself: read straight into locked
  // memory, not through a stdio buffer that stays behind in the heap.
  (void)std::setvbuf(stdin, nullptr, _IONBF, 0);
  const Invocation invocation = ParseArguments(argc, argv);
  (void)ILogger::SetInstance(std::make_shared<ToolLogger>(invocation.Has("--verbose")));
  if (invocation.Has("--version")) {
    std::printf("qvcrypto %s\n", kVersion.data());
    return kExitOk;
  }
  if (invocation.words.empty()) {
    if (invocation.Has("--help")) {
      PrintHelp(nullptr);
      return kExitOk;
    }
    Usage("no command given (see qvcrypto --help)");
  }
  const Command* command = FindCommand(invocation.words);
  if (command == nullptr) {
    Usage("unknown command \"" + invocation.words.front() +
          (invocation.words.size() > 1 ? " " + invocation.words[1] : "") + "\" (see qvcrypto --help)");
  }
  if (invocation.Has("--help")) {
    PrintHelp(command);
    return kExitOk;
  }
  CheckOptions(invocation, *command);
  if (const std::string* root = invocation.Value("--machine-root")) {
    UseMachineRoot(*root);
  }
  (void)InitLibrary();
  if (command->run == RunSelftest) {
    // The self-test checks the library's known answers, the built-in keystore's round trip among
    // them; that protects nothing of the caller's, so it needs no key option and gives no warning.
    UseBuiltInKeystoreQuietly();
  }
  UseKeySource(invocation, *command);
  return command->run(invocation);
}

}  // namespace

const std::string* CommandArgument(const Invocation& invocation, std::size_t index) {
  const Command* command = FindCommand(invocation.words);
  const std::size_t position = (command != nullptr ? command->path.size() : 0) + index;
  return position < invocation.words.size() ? &invocation.words[position] : nullptr;
}

std::vector<std::string> CommandArguments(const Invocation& invocation, std::size_t first) {
  std::vector<std::string> arguments;
  for (const std::string* argument = CommandArgument(invocation, first); argument != nullptr;
       argument = CommandArgument(invocation, first + arguments.size())) {
    arguments.push_back(*argument);
  }
  return arguments;
}

}  // namespace qvcrypto

int main(int argc, char** argv) {
  try {
    return qvcrypto::Run(argc, argv);
  } catch (const qvcrypto::ToolError& error) {
    std::fprintf(stderr, "qvcrypto: %s\n", error.what());
    return error.exitCode();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qvcrypto: failed: %s\n", error.what());
    return qvcrypto::kExitFailed;
  }
}
