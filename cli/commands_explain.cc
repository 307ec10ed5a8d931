#include "cli/commands.h"
#include "cli/io.h"
#include "cli/result_names.h"
#include "cli/tool.h"

#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

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
