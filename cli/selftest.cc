#include "cli/commands.h"
#include "cli/console.h"
#include "cli/io.h"
#include "cli/kat.h"
#include "cli/machine_state.h"
#include "cli/tool.h"
#include "platform/system_directory.h"
#include "primitives/hex_text.h"

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// Removes the temporary machine root however the self-test ends.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::array<unsigned char, 8> random{};
    if (!EVPRandomBytes(random.data(), static_cast<std::uint32_t>(random.size()))) {
      Failed("selftest: no random bytes for a temporary directory name");
    }
    std::string name = "qvcrypto-selftest-";
    AppendLowerHex(name, random);
    std::error_code error;
    path_ = std::filesystem::temp_directory_path(error) / name;
    if (error || !std::filesystem::create_directory(path_, error)) {
      Failed("selftest: cannot make a temporary directory in " + path_.parent_path().string());
    }
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, error);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  std::string string() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

class Report {
 public:
  void Check(const std::string& name, bool passed, const std::string& detail = "") {
    lines_ += std::string(passed ? "pass  " : "FAIL  ") + name + (detail.empty() ? "" : "  (" + detail + ")") + "\n";
    failures_ += passed ? 0 : 1;
  }
  void Note(const std::string& text) { lines_ += "      " + text + "\n"; }
  int failures() const { return failures_; }
  const std::string& text() const { return lines_; }

 private:
  std::string lines_;
  int failures_ = 0;
};

std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

void CheckSsvGeneration(Report& report, bool force) {
  const EQVKeystoreCode generated = QVSSVCrypto::generateSSV(machine::SsvStagingDirectory(), force);
  report.Check("SSV generation (secret box sealing, share splitting)", generated == KS_SUCCESS,
               generated == KS_SUCCESS ? "" : PxaErrorReason(KeystoreResult(generated)));
  const auto engine = QVpax::getInstance()->SSVCryptoIntrf();
  const std::string componentId = engine->getComponentId();
  report.Check("SSV record read back", componentId.size() == 32,
               "component id of " + std::to_string(componentId.size()) + " characters");
  std::vector<std::string> secrets;
  const EQVKeystoreCode recovered = engine->recoverSSV(secrets);
  const bool wellFormed = std::all_of(secrets.begin(), secrets.end(), [](const std::string& secret) {
    return secret.size() == 32 && secret.find_first_not_of('\0') != std::string::npos;
  });
  const std::set<std::string> distinct(secrets.begin(), secrets.end());
  report.Check("SSV recombination (secret box opening, GF(2^8) share arithmetic)",
               recovered == KS_SUCCESS && secrets.size() == 5 && wellFormed && distinct.size() == 5,
               std::to_string(secrets.size()) + " distinct non-zero 32-byte group secrets");
  for (std::string& secret : secrets) {
    WipeString(secret);
  }
  // Recombination runs afresh per call, so a second one must agree with the first.
  std::string first;
  std::string second;
  const std::string probe = "SSV probe";
  SecureBlock back;
  const bool agreed = EncryptWithSSV(probe, first) == PXA_OK && DecryptWithSSV(first, back) == PXA_OK &&
                      Text(back) == probe && EncryptWithSSV_Bin(probe, second) == PXA_OK &&
                      DecryptWithSSV_Bin(second, back) == PXA_OK && Text(back) == probe;
  report.Check("SSV encryption round trip (text and binary)", agreed);
}

void CheckRoundTrips(Report& report) {
  const std::string message = "qvcrypto self-test message \x01\x02";
  const SecureBlock plain(message.begin(), message.end());
  std::string text;
  SecureBlock back;
  report.Check(std::string("keystore encryption round trip (") + kDefaultKeystoreName + ")",
               EncryptData(plain, text, kDefaultKeystoreName) == PXA_OK &&
                   DecryptData(text, back, kDefaultKeystoreName) == PXA_OK && back == plain);
  back.clear();
  const bool passwordRoundTrip = EncryptWithPassword(plain, "self-test password", text) == PXA_OK &&
                                 DecryptWithPassword(text, "self-test password", back) == PXA_OK && back == plain;
  SecureBlock wrong;
  const bool refused = DecryptWithPassword(text, "another password", wrong) != PXA_OK || wrong != plain;
  report.Check("password encryption round trip, wrong password refused", passwordRoundTrip && refused);
  report.Check("digest create and verify", CreateDigest(message, text) == PXA_OK && VerifyDigest(message, text) &&
                                               !VerifyDigest(message + ".", text));
  report.Check("checksum create and verify", CreateChecksum(message, text) == PXA_OK && VerifyChecksum(message, text) &&
                                                 !VerifyChecksum(message + ".", text));
  report.Check("password hash create and verify", CreatePasswordHash("pw", text) == PXA_OK &&
                                                      VerifyPasswordHash("pw", text) &&
                                                      !VerifyPasswordHash("pW", text));
  std::string again;
  report.Check("derived key repeatable", CreateDerivedKey("pw", text) == PXA_OK &&
                                             CreateDerivedKey("pw", again) == PXA_OK && text == again &&
                                             base64_decode(text).size() == 32);
  WipeString(text);
  WipeString(again);
  report.Check("HMAC create and verify",
               CreateHMAC(message, text) == PXA_OK && VerifyHMAC(message, text) && !VerifyHMAC(message + ".", text));
}

}  // namespace

int RunSelftest(const Invocation& /*invocation*/) {
  Report report;
  for (const KatResult& kat : RunKnownAnswerTests()) {
    report.Check(kat.name, kat.passed, kat.detail);
  }
  if (console::MachineRootSupported()) {
    const TemporaryDirectory machineRoot;
    if (!console::SetEnvironment(platform::kMachineRootVariable, machineRoot.string())) {
      Failed("selftest: cannot point the library at a temporary machine root");
    }
    report.Note("temporary machine root " + machineRoot.string() + " (removed afterwards)");
    report.Note("the secret box and the share arithmetic are internal to the library; they are");
    report.Note("exercised by generating an SSV there and recombining its shares");
    CheckSsvGeneration(report, true);
    CheckRoundTrips(report);
  } else {
    report.Note("the machine's own SSV is used (created when missing, never replaced): the secret");
    report.Note("box and share arithmetic are exercised by recombining its shares");
    CheckSsvGeneration(report, false);
    CheckRoundTrips(report);
  }
  const std::string summary = report.failures() == 0
                                  ? "selftest passed\n"
                                  : "selftest FAILED: " + std::to_string(report.failures()) + " check(s)\n";
  WriteStandardOutput(report.text() + summary);
  if (report.failures() != 0) {
    std::fputs("qvcrypto: selftest failed\n", stderr);
  }
  return report.failures() == 0 ? kExitOk : kExitFailed;
}

}  // namespace qvcrypto
