// A build without the database keystore (cross builds): no key commands, and a clear refusal
// of --keystore-config.

#include "cli/command_table.h"
#include "cli/tool.h"

namespace qvcrypto {

const std::vector<Command>& KeyCommands() {
  static const std::vector<Command> none;
  return none;
}

void UseKeystoreConfig(const std::string& /*file*/) {
  Usage("--keystore-config: this qvcrypto was built without the database keystore");
}

}  // namespace qvcrypto
