#include "cli/key_source.h"

#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

constexpr const char* kDemoKeyWarning =
    "qvcrypto: warning: using the built-in demo key, which every copy of this library has; anyone can decrypt or "
    "forge what it protects\n";

bool Takes(const Command& command, std::string_view option) {
  return std::find(command.options.begin(), command.options.end(), option) != command.options.end();
}

std::string CommandName(const Command& command) {
  std::string name;
  for (const std::string_view word : command.path) {
    name += (name.empty() ? "" : " ") + std::string(word);
  }
  return name;
}

std::string KeySourceChoices(const Command& command) {
  const std::string demo = "--demo-key (the built-in key, which is public)";
  if (!Takes(command, "--password-file")) {
    return "--keystore-config FILE or " + demo;
  }
  return "--keystore-config FILE, a password option (--password-file F, --password-env VAR, --password-prompt) or " +
         demo;
}

// DemoKeyAsked is true for --demo-key and for its long form "--keystore ZKSystem"; any other
// keystore name is refused, since the tool registers no other.
bool DemoKeyAsked(const Invocation& invocation) {
  const std::string* name = invocation.Value("--keystore");
  if (name != nullptr && *name != kDefaultKeystoreName) {
    Usage("unknown keystore \"" + *name + "\": the tool has only \"" + std::string(kDefaultKeystoreName) +
          "\", the built-in demo keystore; use --keystore-config FILE for keys of your own");
  }
  return name != nullptr || invocation.Has(kDemoKeyOption);
}

}  // namespace

void UseKeySource(const Invocation& invocation, const Command& command) {
  const std::string* config = invocation.Value("--keystore-config");
  bool demo = false;
  if (Takes(command, kDemoKeyOption)) {
    demo = DemoKeyAsked(invocation);
    const int sources = (config != nullptr ? 1 : 0) + (HasPasswordOption(invocation) ? 1 : 0) + (demo ? 1 : 0);
    if (sources == 0) {
      Usage(CommandName(command) + ": no key given; use " + KeySourceChoices(command));
    }
    if (sources > 1) {
      Usage(CommandName(command) + ": more than one key given; use only one of " + KeySourceChoices(command));
    }
  }
  if (config != nullptr) {
    UseKeystoreConfig(*config);
  }
  if (demo) {
    UseBuiltInKeystoreQuietly();
    WarnOfDemoKey();
  }
}

void WarnOfDemoKey() { std::fputs(kDemoKeyWarning, stderr); }

void UseBuiltInKeystoreQuietly() {
  (void)SetKeystore(std::string(kDefaultKeystoreName), std::make_shared<QVKeystoreStatic>());
}

}  // namespace qvcrypto
