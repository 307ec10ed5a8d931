// make_cross_fixture DIRECTORY: writes into DIRECTORY one of each text this build makes (see
// cross_fixture.h), for the other platform's build to read. Exits non-zero when any is not made.

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record_layout.h"
#include "tests/cross/cross_fixture.h"
#include "tests/platform/machine_root_fixture.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

using namespace QVCryptoService;
using namespace testsupport::cross;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_cross_fixture DIRECTORY\n");
    return 2;
  }
  const std::filesystem::path directory = argv[1];
  std::filesystem::create_directories(directory);
  int failures = 0;
  // Writes `text` byte for byte under `name`; a failed result or an empty text is a failure.
  const auto make = [&](const char* name, PxaResult result, const std::string& text) {
    std::ofstream out(directory / name, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (result != PXA_OK || text.empty() || !out) {
      std::fprintf(stderr, "make_cross_fixture: %s: %s\n", name, PxaErrorReason(result).c_str());
      ++failures;
    }
  };
  if (!StartLibrary()) {
    std::fprintf(stderr, "make_cross_fixture: the library did not start\n");
    return 1;
  }
  std::string text;
  make(kKeystoreCipherText, EncryptData(kPlainText, text, ""), text);
  make(kPasswordCipherText, EncryptWithPassword(kPlainText, kPassword, text), text);
  make(kDigest, CreateDigest(kSignedData, text), text);
  make(kChecksum, CreateChecksum(kSignedData, text), text);
  make(kPasswordHash, CreatePasswordHash(kPassword, text), text);
  make(kHmac, CreateHMAC(kSignedData, text), text);

  // A machine secret made for the fixture alone, in a machine that is emptied again afterwards.
  const testsupport::TempMachineRoot machine;
  if (QVSSVCrypto::generateSSV(machine.string(), true) != KS_SUCCESS) {
    std::fprintf(stderr, "make_cross_fixture: no SSV could be made\n");
    return 1;
  }
  const std::vector<std::uint8_t> record =
      machine.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
  make(kSsvRecord, PXA_OK, std::string(record.begin(), record.end()));
  QVSSVCrypto engine;
  const SecureBlock plain(kPlainText.begin(), kPlainText.end());
  make(kSsvText, engine.QVEncrypt(plain, text), text);
  make(kSsvBinary, engine.QVEncrypt_Bin(plain, text), text);
  return failures == 0 ? 0 : 1;
}
