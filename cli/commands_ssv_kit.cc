// ssv backup and ssv restore: this machine's SSV as recovery kits held by several people.

#include "cli/command_table.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/io.h"
#include "cli/password.h"
#include "cli/tool.h"
#include "platform/private_database_file.h"
#include "platform/private_file.h"

#include <qvcryptoservice/ssv_recovery.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// A kit is a few kilobytes; a file longer than this is not one and is not read further.
constexpr std::size_t kKitFileLimit = 65536;
constexpr std::size_t kMostKitFiles = kSsvKitMaxHolders;
constexpr const char* kPassphraseFileOption = "--passphrase-file";

std::size_t CountOption(const Invocation& invocation, const char* option) {
  const std::string* text = invocation.Value(option);
  if (text == nullptr) {
    Usage(std::string(option) + " is required; usage: qvcrypto ssv backup --holders N --threshold K --out DIR");
  }
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), count);
  if (error != std::errc() || end != text->data() + text->size() || count > kMostKitFiles) {
    Usage(std::string(option) + " takes a number up to " + std::to_string(kSsvKitMaxHolders) + ", not \"" + *text +
          "\"");
  }
  return count;
}

void CheckPassphrase(const SecureBlock& passphrase, const std::string& whose) {
  if (passphrase.empty()) {
    Usage("the passphrase for " + whose + " is empty");
  }
  if (std::find(passphrase.begin(), passphrase.end(), static_cast<std::uint8_t>(0)) != passphrase.end()) {
    Usage("the passphrase for " + whose + " holds a zero byte");
  }
}

// Passphrases returns one passphrase for each of `whose`: from the --passphrase-file options in
// order, or else asked on the terminal (twice each when `confirm`, for a new kit).
std::vector<SecureBlock> Passphrases(const Invocation& invocation, const std::vector<std::string>& whose,
                                     bool confirm) {
  const std::vector<std::string> files = invocation.Values(kPassphraseFileOption);
  std::vector<SecureBlock> passphrases;
  if (!files.empty()) {
    if (files.size() != whose.size()) {
      Usage("give --passphrase-file once for each of the " + std::to_string(whose.size()) + " kits, in order (" +
            std::to_string(files.size()) + " given)");
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
      passphrases.push_back(ReadPasswordFile(files[i]));
      CheckPassphrase(passphrases.back(), whose[i]);
    }
    return passphrases;
  }
  for (const std::string& one : whose) {
    SecureBlock passphrase;
    SecureBlock again;
    if (!console::ReadPasswordWithoutEcho("Passphrase for " + one + ": ", passphrase) ||
        (confirm && !console::ReadPasswordWithoutEcho("Passphrase for " + one + " again: ", again))) {
      Usage("no terminal to ask for the passphrases; give --passphrase-file once per kit, in order");
    }
    CheckPassphrase(passphrase, one);
    if (confirm && passphrase != again) {
      Usage("the two passphrases for " + one + " differ");
    }
    passphrases.push_back(std::move(passphrase));
  }
  return passphrases;
}

std::string ReadKitFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    Usage("cannot open kit file " + path);
  }
  std::string text(kKitFileLimit + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (file.bad()) {
    Usage("cannot read kit file " + path);
  }
  if (text.size() > kKitFileLimit) {
    Failed("ssv restore: " + path + ": too long for a recovery kit");
  }
  return text;
}

int ExitCodeOf(SsvKitStatus status) { return status == SsvKitStatus::kInvalidArguments ? kExitUsage : kExitFailed; }

int RunSsvBackup(const Invocation& invocation) {
  const std::size_t holders = CountOption(invocation, "--holders");
  const std::size_t threshold = CountOption(invocation, "--threshold");
  const std::string* out = invocation.Value("--out");
  if (out == nullptr) {
    Usage("--out is required; usage: qvcrypto ssv backup --holders N --threshold K --out DIR");
  }
  std::error_code error;
  if (std::filesystem::exists(*out, error) || error) {
    Usage("kit directory " + *out + " exists already; name a new one");
  }
  std::vector<std::string> whose;
  for (std::size_t holder = 1; holder <= holders; ++holder) {
    whose.push_back("holder " + std::to_string(holder));
  }
  // Checked before anyone is asked for a passphrase.
  if (const std::string problem = SsvKitShapeProblem(holders, threshold); !problem.empty()) {
    Usage(problem);
  }
  const std::vector<SecureBlock> passphrases = Passphrases(invocation, whose, true);
  std::vector<std::string> kits;
  const SsvKitOutcome outcome = BackUpSsv(threshold, passphrases, kits);
  if (outcome.status != SsvKitStatus::kOk) {
    throw ToolError(ExitCodeOf(outcome.status), "ssv backup: " + outcome.message);
  }
  // The directory is made only now, afresh: one that appeared since the check above, or a link
  // put in its place, is refused rather than written into.
  std::filesystem::path directory(*out);
  if (!directory.has_filename()) {
    directory = directory.parent_path();
  }
  if ((directory.has_parent_path() && !platform::MakePrivateDirectories(directory.parent_path().string())) ||
      !platform::MakePrivateDirectory(directory.string())) {
    Failed("ssv backup: cannot create the kit directory " + *out +
           " as a new directory of this account (nothing may be there yet); no kit was written");
  }
  std::string report = outcome.message + ", component id " + outcome.componentId + "\n";
  for (std::size_t i = 0; i < kits.size(); ++i) {
    // Joined with "/", which Windows takes too, so that the names print alike everywhere.
    const std::string path = *out + "/holder-" + std::to_string(i + 1) + ".qvkit";
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(kits[i].data());
    if (!platform::WritePrivateFile(path, std::span<const std::uint8_t>(bytes, kits[i].size()))) {
      Failed("ssv backup: cannot create kit file " + path + " (the kits before it were written)");
    }
    report += "  " + whose[i] + ": " + path + "\n";
  }
  WriteStandardOutput(report);
  return kExitOk;
}

int RunSsvRestore(const Invocation& invocation) {
  const std::vector<std::string> paths(invocation.words.begin() + 2, invocation.words.end());
  std::vector<std::string> kits;
  std::vector<std::string> whose;
  for (const std::string& path : paths) {
    kits.push_back(ReadKitFile(path));
    whose.push_back("kit " + path);
  }
  const std::vector<SecureBlock> passphrases = Passphrases(invocation, whose, false);
  const SsvKitOutcome outcome = RestoreSsv(kits, passphrases, invocation.Has("--force"));
  if (outcome.status != SsvKitStatus::kOk) {
    const std::string about = outcome.kit < paths.size() ? paths[outcome.kit] + ": " : "";
    throw ToolError(ExitCodeOf(outcome.status), "ssv restore: " + about + outcome.message);
  }
  WriteStandardOutput(outcome.message + ", component id " + outcome.componentId + "\n" +
                      RestoredBindingLine(outcome.bindingWritten));
  return kExitOk;
}

}  // namespace

const std::vector<Command>& SsvKitCommands() {
  static const std::vector<Command> commands = {
      {{"ssv", "backup"},
       "ssv backup --holders N --threshold K --out DIR [--passphrase-file F]...",
       "split this machine's SSV into N recovery kits, DIR/holder-1.qvkit and on, any K of which restore it "
       "(2 <= K <= N <= 16); each kit is sealed under its own holder's passphrase, asked twice on the terminal or "
       "read from one --passphrase-file per holder in order. DIR must not exist yet",
       {"--holders", "--threshold", "--out", kPassphraseFileOption},
       0,
       0,
       RunSsvBackup},
      {{"ssv", "restore"},
       "ssv restore [--force] [--passphrase-file F]... KITFILE...",
       "rebuild this machine's SSV from K recovery kits and store it; passphrases as for backup, one per kit. A "
       "different SSV already stored is replaced only with --force",
       {"--force", kPassphraseFileOption},
       1,
       kMostKitFiles,
       RunSsvRestore},
  };
  return commands;
}

}  // namespace qvcrypto
