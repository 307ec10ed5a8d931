#pragma once

// Where a command that uses a keystore key gets its key: the database keystore of
// --keystore-config, a password where the command takes one, or the built-in keystore, whose
// key every copy of the library holds and which is therefore used only when asked for by name.

#include "cli/arguments.h"
#include "cli/command_table.h"

#include <string_view>

namespace qvcrypto {

// kDemoKeyOption asks for the built-in keystore; a command that takes it is one that reaches a
// keystore key, and such a command needs exactly one key source.
inline constexpr std::string_view kDemoKeyOption = "--demo-key";

// UseKeySource checks the key options of the command line and registers the keystore they name:
// the database keystore of --keystore-config, or the built-in one for --demo-key or
// "--keystore ZKSystem" (then with a one-line warning on standard error). Usage error (exit 2)
// when a command that reaches a keystore key is given no key source or more than one, or
// --keystore names another keystore; see UseKeystoreConfig for the configuration's errors.
void UseKeySource(const Invocation& invocation, const Command& command);

// WarnOfDemoKey prints the one line that every use of the built-in demo key prints first on
// standard error.
void WarnOfDemoKey();

// UseBuiltInKeystoreQuietly registers the built-in keystore without a warning, for the
// self-test's known answers, which are the library's own and protect nothing of the caller's.
void UseBuiltInKeystoreQuietly();

}  // namespace qvcrypto
