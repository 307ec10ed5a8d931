// The C++ quickstart: start the library, register the built-in keystore, then encrypt with it,
// with a password and with this machine's SSV, and hash a password. Exits 1 on any failure.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

using namespace QVCryptoService;

namespace {

bool Check(const char* step, PxaResult result) {
  std::printf("%-22s %s\n", step, PxaErrorReason(result).c_str());
  return result == PXA_OK;
}

// MachineDirectory is where the library keeps the machine's own files, and so the place to stage
// a new SSV: never a shared temporary directory, whose other users could read or replace it.
// On Windows that is the system directory; elsewhere the machine root, QVCRYPTO_MACHINE_ROOT when
// it is set, else /var/lib/qvcrypto (only its owner and root may write there).
std::string MachineDirectory() {
  if (const char* windows = std::getenv("SystemRoot"); windows != nullptr && windows[0] != '\0') {
    return std::string(windows) + "\\System32";
  }
  if (const char* root = std::getenv("QVCRYPTO_MACHINE_ROOT"); root != nullptr && root[0] != '\0') {
    return root;
  }
  return "/var/lib/qvcrypto";
}

}  // namespace

int main() {
  InitLibrary();
  SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());

  const std::string secret = "meet at noon";
  std::string text;
  SecureBlock plain;
  bool ok = Check("EncryptData", EncryptData(secret, text, "ZKSystem")) &&
            Check("DecryptData", DecryptData(text, plain, "ZKSystem")) &&
            std::string(plain.begin(), plain.end()) == secret;

  ok = ok && Check("EncryptWithPassword", EncryptWithPassword(secret, "hunter2", text)) &&
       Check("DecryptWithPassword", DecryptWithPassword(text, "hunter2", plain)) &&
       std::string(plain.begin(), plain.end()) == secret;

  // Provision the machine's SSV once (kept when it exists); the staging file is removed again.
  ok = ok && QVSSVCrypto::generateSSV(MachineDirectory(), false) == KS_SUCCESS &&
       Check("EncryptWithSSV", EncryptWithSSV(secret, text)) && Check("DecryptWithSSV", DecryptWithSSV(text, plain)) &&
       std::string(plain.begin(), plain.end()) == secret;

  std::string hash;
  ok = ok && Check("CreatePasswordHash", CreatePasswordHash("hunter2", hash)) && VerifyPasswordHash("hunter2", hash) &&
       !VerifyPasswordHash("hunter3", hash);

  std::printf("%s\n", ok ? "C++ quickstart passed" : "C++ quickstart FAILED");
  return ok ? 0 : 1;
}
