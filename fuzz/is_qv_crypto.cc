// QVCrypto::isQVCrypto must answer for any text without crashing; there is no answer to check.

#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcrypto.h>

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzsupport::SilenceLibraryLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const QVCryptoService::QVCrypto engine(std::make_shared<QVCryptoService::CQVKeystoreMgr>());
  (void)engine.isQVCrypto(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
