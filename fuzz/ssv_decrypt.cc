// QVSSVCrypto::QVDecrypt and QVDecrypt_Bin must refuse or decrypt any input without crashing,
// with a valid SSV in place so that the whole decryption path is reached. Any result is fine.

#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

QVCryptoService::QVSSVCrypto& Engine() {
  static QVCryptoService::QVSSVCrypto engine;
  return engine;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzsupport::SilenceLibraryLog();
  const std::string& root = fuzzsupport::UseTemporaryMachineRoot();
  fuzzsupport::Require(QVCryptoService::QVSSVCrypto::generateSSV(root, false) == QVCryptoService::KS_SUCCESS,
                       "an SSV is generated");
  // Without a working SSV every input would stop at the first check and the fuzzer would learn
  // nothing about decryption.
  const QVCryptoService::SecureBlock plain = {'f', 'u', 'z', 'z'};
  std::string cipherText;
  QVCryptoService::SecureBlock decrypted;
  fuzzsupport::Require(Engine().QVEncrypt(plain, cipherText) == QVCryptoService::PXA_OK &&
                           Engine().QVDecrypt(cipherText, decrypted) == QVCryptoService::PXA_OK && decrypted == plain,
                       "the SSV decrypts what it encrypted");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  QVCryptoService::SecureBlock plain;
  (void)Engine().QVDecrypt(input, plain);
  plain.clear();
  (void)Engine().QVDecrypt_Bin(input, plain);
  return 0;
}
