#include "cli/commands.h"
#include "cli/io.h"
#include "cli/result_names.h"
#include "cli/tool.h"

#include <qvcryptoservice/result.h>

#include <cstdint>
#include <limits>
#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// ParseResultValue reads decimal or 0x-hex digits into 64 bits; false for anything else,
// including values that do not fit.
bool ParseResultValue(const std::string& text, PxaResult& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::uint64_t base = hex ? 16 : 10;
  const std::size_t start = hex ? 2 : 0;
  if (text.size() == start) {
    return false;
  }
  std::uint64_t result = 0;
  for (std::size_t index = start; index < text.size(); ++index) {
    const char c = text[index];
    std::uint64_t digit = 0;
    if (c >= '0' && c <= '9') {
      digit = static_cast<std::uint64_t>(c - '0');
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = static_cast<std::uint64_t>(c - 'a' + 10);
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = static_cast<std::uint64_t>(c - 'A' + 10);
    } else {
      return false;
    }
    if (result > (std::numeric_limits<std::uint64_t>::max() - digit) / base) {
      return false;
    }
    result = result * base + digit;
  }
  value = result;
  return true;
}

}  // namespace

int RunExplain(const Invocation& invocation) {
  const std::string* argument = CommandArgument(invocation, 0);
  if (argument == nullptr) {
    Usage("explain needs a result value, in decimal or 0x-hex");
  }
  PxaResult value = 0;
  if (!ParseResultValue(*argument, value)) {
    Usage("not a 64-bit result value in decimal or 0x-hex: " + *argument);
  }
  const std::uint64_t family = value >> 32;
  const std::uint64_t code = value & 0xFFFFFFFFull;
  const std::string name = CodeName(value);
  WriteStandardOutput("value:   " + Hex(value) + " (" + std::to_string(value) + ")\n" +
                      "family:  " + std::to_string(family) + " (" + FamilyName(value) + ")\n" +
                      "code:    " + std::to_string(code) + " (" + Hex(code) + (name.empty() ? "" : ", " + name) +
                      ")\n" + "message: " + PxaErrorReason(value) + "\n");
  return kExitOk;
}

}  // namespace qvcrypto
