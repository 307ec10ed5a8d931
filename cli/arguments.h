#pragma once

// The parsed command line of one command.

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

struct Invocation {
  // Command words first ("ssv", "init"), then the command's own arguments.
  std::vector<std::string> words;
  std::map<std::string, std::string, std::less<>> values;
  std::set<std::string, std::less<>> flags;
  // Options that may be given more than once, each value in command-line order.
  std::map<std::string, std::vector<std::string>, std::less<>> lists;

  bool Has(std::string_view flag) const { return flags.count(flag) != 0; }
  // Value returns the option's value, or null when the option was not given.
  const std::string* Value(std::string_view option) const;
  // Values returns the values of a repeatable option, none when it was not given.
  std::vector<std::string> Values(std::string_view option) const;
};

// ParseArguments splits argv into words, options with a value ("--keystore NAME" or
// "--keystore=NAME") and flags. Throws a usage error for an unknown option, a flag given a
// value, an option given twice (other than a repeatable one) or a value missing. "--" ends the
// options.
Invocation ParseArguments(int argc, const char* const* argv);

}  // namespace qvcrypto
