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
#include <functional>
#include <vector>

using namespace QVCryptoService;
using namespace testsupport::cross;

namespace {

int g_failures = 0;

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  g_failures += out ? 0 : 1;
}

void Make(const std::filesystem::path& directory, const char* name,
          const std::function<PxaResult(std::string&)>& make) {
  std::string text;
  const PxaResult result = make(text);
  if (result != PXA_OK || text.empty()) {
    std::fprintf(stderr, "make_cross_fixture: %s: %s\n", name, PxaErrorReason(result).c_str());
    ++g_failures;
    return;
  }
  WriteFile(directory / name, text);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_cross_fixture DIRECTORY\n");
    return 2;
  }
  const std::filesystem::path directory = argv[1];
  std::filesystem::create_directories(directory);
  if (!StartLibrary()) {
    std::fprintf(stderr, "make_cross_fixture: the library did not start\n");
    return 1;
  }
  Make(directory, kKeystoreCipherText, [](std::string& out) { return EncryptData(kPlainText, out, ""); });
  Make(directory, kPasswordCipherText,
       [](std::string& out) { return EncryptWithPassword(kPlainText, kPassword, out); });
  Make(directory, kDigest, [](std::string& out) { return CreateDigest(kSignedData, out); });
  Make(directory, kChecksum, [](std::string& out) { return CreateChecksum(kSignedData, out); });
  Make(directory, kPasswordHash, [](std::string& out) { return CreatePasswordHash(kPassword, out); });
  Make(directory, kHmac, [](std::string& out) { return CreateHMAC(kSignedData, out); });

  // A machine secret made for the fixture alone, in a machine that is emptied again afterwards.
  const testsupport::TempMachineRoot machine;
  if (QVSSVCrypto::generateSSV(machine.string(), true) != KS_SUCCESS) {
    std::fprintf(stderr, "make_cross_fixture: no SSV could be made\n");
    return 1;
  }
  const std::vector<std::uint8_t> record =
      machine.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
  WriteFile(directory / kSsvRecord, std::string(record.begin(), record.end()));
  QVSSVCrypto engine;
  const SecureBlock plain(kPlainText.begin(), kPlainText.end());
  Make(directory, kSsvText, [&](std::string& out) { return engine.QVEncrypt(plain, out); });
  Make(directory, kSsvBinary, [&](std::string& out) { return engine.QVEncrypt_Bin(plain, out); });
  return g_failures == 0 ? 0 : 1;
}
