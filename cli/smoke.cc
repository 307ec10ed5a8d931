// qvcrypto_smoke runs every family of the library end to end through the shared library: it
// initialises the library, registers the built-in keystore, provisions the machine secret when
// there is none, and round-trips data through each family, printing each result and verifying
// it. Exits non-zero when any step does not give the expected result.

#include "cli/machine_state.h"

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <cstdio>
#include <memory>
#include <string>

using namespace QVCryptoService;

namespace {

int g_failures = 0;

std::string Shorten(const std::string& text) { return text.size() <= 56 ? text : text.substr(0, 53) + "..."; }

void Report(const char* step, bool ok, const std::string& detail) {
  std::printf("%-30s %s  %s\n", step, ok ? "ok  " : "FAIL", Shorten(detail).c_str());
  if (!ok) {
    ++g_failures;
  }
}

std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

std::string Outcome(PxaResult result, const std::string& output) {
  return result == PXA_OK ? output : PxaErrorReason(result);
}

}  // namespace

int main() {
  const std::string secret = "The quick brown fox jumps over the lazy dog";
  Report("InitLibrary", InitLibrary(), "service object built");
  Report((std::string("SetKeystore ") + kDefaultKeystoreName).c_str(),
         SetKeystore(kDefaultKeystoreName, std::make_shared<QVKeystoreStatic>()), "built-in static keystore");

  // The staging file of a new SSV passes through the machine root (the Windows system directory),
  // which only this account and root may write; it is removed afterwards.
  const EQVKeystoreCode provisioned = QVSSVCrypto::generateSSV(qvcrypto::machine::SsvStagingDirectory(), false);
  Report("SSV provisioned", provisioned == KS_SUCCESS,
         "component id " + QVpax::getInstance()->SSVCryptoIntrf()->getComponentId());

  std::string text;
  SecureBlock plain;
  PxaResult result = EncryptData(secret, text, "");
  Report("EncryptData", result == PXA_OK, Outcome(result, text));
  result = DecryptData(text, plain, "");
  Report("DecryptData", result == PXA_OK && Text(plain) == secret, Outcome(result, Text(plain)));

  result = EncryptWithPassword(secret, "correct horse", text);
  Report("EncryptWithPassword", result == PXA_OK, Outcome(result, text));
  result = DecryptWithPassword(text, "correct horse", plain);
  Report("DecryptWithPassword", result == PXA_OK && Text(plain) == secret, Outcome(result, Text(plain)));
  SecureBlock wrong;
  const PxaResult wrongResult = DecryptWithPassword(text, "wrong horse", wrong);
  Report("wrong password refused", wrongResult != PXA_OK || Text(wrong) != secret, PxaErrorReason(wrongResult));

  result = EncryptWithSSV(secret, text);
  Report("EncryptWithSSV", result == PXA_OK, Outcome(result, text));
  result = DecryptWithSSV(text, plain);
  Report("DecryptWithSSV", result == PXA_OK && Text(plain) == secret, Outcome(result, Text(plain)));

  result = CreateDigest(secret, text);
  Report("CreateDigest", result == PXA_OK, Outcome(result, text));
  Report("VerifyDigest", VerifyDigest(secret, text) && !VerifyDigest(secret + ".", text),
         "true, and false when changed");
  result = CreateChecksum(secret, text);
  Report("CreateChecksum", result == PXA_OK, Outcome(result, text));
  Report("VerifyChecksum", VerifyChecksum(secret, text) && !VerifyChecksum(secret + ".", text),
         "true, and false when changed");
  result = CreatePasswordHash("hunter2", text);
  Report("CreatePasswordHash", result == PXA_OK, Outcome(result, text));
  Report("VerifyPasswordHash", VerifyPasswordHash("hunter2", text) && !VerifyPasswordHash("hunter3", text),
         "true, and false for another password");
  std::string again;
  result = CreateDerivedKey("hunter2", text);
  Report("CreateDerivedKey", result == PXA_OK && CreateDerivedKey("hunter2", again) == PXA_OK && text == again,
         Outcome(result, text));
  result = CreateHMAC(secret, text);
  Report("CreateHMAC", result == PXA_OK, Outcome(result, text));
  Report("VerifyHMAC", VerifyHMAC(secret, text) && !VerifyHMAC(secret + ".", text), "true, and false when changed");

  unsigned char digest[32];
  QVHashCtx ctx = QVHashInitCtx();
  const bool hashed = ctx != nullptr &&
                      QVHashUpdate(ctx, reinterpret_cast<const unsigned char*>(secret.data()), secret.size()) &&
                      QVHashFinal(ctx, digest);
  Report("QVHash C functions", hashed && digest[0] == 0xd7 && digest[31] == 0x92, "SHA-256 d7a8fbb3...37c9e592");

  Report("PxaErrorReason", PxaErrorReason(PXA_ERR_SSV_FILE) == "SSV file not found or corrupted",
         PxaErrorReason(PXA_ERR_SSV_FILE));
  std::printf("%s\n", g_failures == 0 ? "all steps passed" : "some steps failed");
  return g_failures == 0 ? 0 : 1;
}
