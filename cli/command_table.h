#pragma once

// The table of qvcrypto's commands, shared by main.cc and the files that add commands.

#include "cli/arguments.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

// kAnyNumber is the most arguments of a command that takes a list of paths.
inline constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

struct Command {
  std::vector<std::string_view> path;
  std::string_view synopsis;
  std::string_view summary;
  std::vector<std::string_view> options;
  std::size_t minArguments;
  std::size_t maxArguments;
  int (*run)(const Invocation&);
};

// SsvKitCommands returns the "ssv backup" and "ssv restore" commands.
const std::vector<Command>& SsvKitCommands();

// KeyCommands returns the "key ..." commands: empty in a build without the database keystore.
const std::vector<Command>& KeyCommands();

// UseKeystoreConfig initializes the database keystore from a JSON configuration file and
// registers it as "ZKSystem" in place of the built-in one. Usage error (exit 2) when the file
// cannot be read or is not a valid configuration, or in a build without the database
// keystore; exit 3 when the keystore cannot be opened.
void UseKeystoreConfig(const std::string& file);

}  // namespace qvcrypto
