#include "cli/tool.h"

#include "cli/result_names.h"

#include <qvcryptoservice/keystore_mgr.h>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

std::string Hint(PxaResult result) {
  if (result == ~PxaResult{0} || result == PXA_ERR_KEYSTORE_NOT_CONFIGURED) {
    return std::string(" (no such keystore registered; the built-in one is \"") + kDefaultKeystoreName + "\")";
  }
  if (result == PXA_ERR_SSV_FILE) {
    return " (run 'qvcrypto ssv init' to provision this machine)";
  }
  if (result == PXA_ERR_CORRUPTED_DATA) {
    return " (the text is not one this command reads, or it was changed)";
  }
  if ((result >> 32) == PXA_FAMILY_OPENSSL || (result >> 32) == 0xFFFFFFFFull) {
    return " (wrong key or password, or damaged data)";
  }
  return "";
}

}  // namespace

void FailedResult(const std::string& operation, PxaResult result) {
  Failed(operation + ": " + PxaErrorReason(result) + " [" + Hex(result) + "]" + Hint(result));
}

}  // namespace qvcrypto
