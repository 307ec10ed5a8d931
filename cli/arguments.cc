#include "cli/arguments.h"

#include "cli/tool.h"

#include <algorithm>
#include <array>

namespace qvcrypto {

namespace {

constexpr std::array<std::string_view, 14> kValueOptions = {
    "--machine-root", "--keystore",   "--password-file", "--password-env",   "--keystore-config",
    "--algorithm",    "--memory-kib", "--passes",        "--min-iterations", "--prefer",
    "--holders",      "--threshold",  "--out",           "--output"};
constexpr std::array<std::string_view, 1> kRepeatableOptions = {"--passphrase-file"};
constexpr std::array<std::string_view, 14> kFlags = {
    "--force",   "--binary",          "--password-prompt", "--demo-key", "--help",     "--version",
    "--verbose", "--argon2id",        "--lines",           "--json",     "--in-place", "--unless-used-in",
    "--bind",    "--include-demo-key"};

bool Contains(const auto& list, std::string_view name) {
  return std::find(list.begin(), list.end(), name) != list.end();
}

}  // namespace

const std::string* Invocation::Value(std::string_view option) const {
  const auto found = values.find(option);
  return found == values.end() ? nullptr : &found->second;
}

std::vector<std::string> Invocation::Values(std::string_view option) const {
  const auto found = lists.find(option);
  return found == lists.end() ? std::vector<std::string>{} : found->second;
}

Invocation ParseArguments(int argc, const char* const* argv) {
  Invocation invocation;
  bool optionsEnded = false;
  for (int index = 1; index < argc; ++index) {
    const std::string_view argument = argv[index];
    if (optionsEnded || argument.size() < 2 || argument.substr(0, 2) != "--") {
      invocation.words.emplace_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
      continue;
    }
    const std::size_t equals = argument.find('=');
    const std::string_view name = argument.substr(0, equals);
    if (Contains(kFlags, name)) {
      if (equals != std::string_view::npos) {
        Usage("option " + std::string(name) + " takes no value");
      }
      invocation.flags.emplace(name);
      continue;
    }
    const bool repeatable = Contains(kRepeatableOptions, name);
    if (!repeatable && !Contains(kValueOptions, name)) {
      if (name == "--password") {
        Usage(
            "passwords are never taken from the command line; use --password-file, --password-env or "
            "--password-prompt");
      }
      Usage("unknown option " + std::string(name) + " (see qvcrypto --help)");
    }
    std::string value;
    if (equals != std::string_view::npos) {
      value = std::string(argument.substr(equals + 1));
    } else if (index + 1 < argc) {
      value = argv[++index];
    } else {
      Usage("option " + std::string(name) + " needs a value");
    }
    if (value.empty()) {
      Usage("option " + std::string(name) + " needs a non-empty value");
    }
    if (repeatable) {
      invocation.lists[std::string(name)].push_back(std::move(value));
    } else if (!invocation.values.emplace(name, std::move(value)).second) {
      Usage("option " + std::string(name) + " given twice");
    }
  }
  return invocation;
}

}  // namespace qvcrypto
