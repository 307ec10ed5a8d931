// Texts made by the Linux build and by the Windows build, read by whichever build runs this: the
// committed fixtures of both platforms, and a freshly made one when QVCS_CROSS_FIXTURE names its
// directory (the test script makes one with the other platform's build in every run).

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record_layout.h"
#include "tests/cross/cross_fixture.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace QVCryptoService {
namespace {

using namespace testsupport::cross;

std::vector<std::string> FixtureDirectories() {
  std::vector<std::string> directories = {"tests/cross/made_on_linux", "tests/cross/made_on_windows"};
  if (const char* fresh = std::getenv("QVCS_CROSS_FIXTURE"); fresh != nullptr && *fresh != '\0') {
    directories.emplace_back(fresh);
  }
  return directories;
}

std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

class CrossBuildTexts : public testing::TestWithParam<std::string> {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(StartLibrary()); }

  // A missing file throws, failing the test with its path.
  std::string Fixture(const char* name) const { return testsupport::ReadFile(GetParam() + "/" + name); }
};

TEST_P(CrossBuildTexts, KeystoreAndPasswordCipherTextsDecrypt) {
  const std::string keystoreText = Fixture(kKeystoreCipherText);
  SecureBlock plain;
  ASSERT_EQ(DecryptData(keystoreText, plain, ""), PXA_OK);
  EXPECT_EQ(Text(plain), kPlainText);

  std::string password = kPassword;
  SecureBlock fromPassword;
  ASSERT_EQ(DecryptWithPassword(Fixture(kPasswordCipherText), password, fromPassword), PXA_OK);
  EXPECT_EQ(Text(fromPassword), kPlainText);
}

TEST_P(CrossBuildTexts, HashingAndSigningRecordsVerify) {
  EXPECT_TRUE(VerifyDigest(kSignedData, Fixture(kDigest)));
  EXPECT_TRUE(VerifyChecksum(kSignedData, Fixture(kChecksum)));
  EXPECT_TRUE(VerifyPasswordHash(kPassword, Fixture(kPasswordHash)));
  EXPECT_TRUE(VerifyHMAC(kSignedData, Fixture(kHmac)));
}

TEST_P(CrossBuildTexts, SsvTextsDecryptUnderTheRecordTheyWereMadeWith) {
  const testsupport::TempMachineRoot machine;
  const std::string record = Fixture(kSsvRecord);
  ASSERT_EQ(record.size(), kSsvRecordSize);
  machine.WriteValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value,
                     std::vector<std::uint8_t>(record.begin(), record.end()));
  QVSSVCrypto engine;
  SecureBlock plain;
  ASSERT_EQ(engine.QVDecrypt(Fixture(kSsvText), plain), PXA_OK);
  EXPECT_EQ(Text(plain), kPlainText);
  SecureBlock fromBinary;
  ASSERT_EQ(engine.QVDecrypt_Bin(Fixture(kSsvBinary), fromBinary), PXA_OK);
  EXPECT_EQ(Text(fromBinary), kPlainText);
}

INSTANTIATE_TEST_SUITE_P(MadeByEachBuild, CrossBuildTexts, testing::ValuesIn(FixtureDirectories()),
                         [](const testing::TestParamInfo<std::string>& param) {
                           return param.index < 2 ? std::string(param.index == 0 ? "Linux" : "Windows")
                                                  : std::string("Fresh");
                         });

}  // namespace
}  // namespace QVCryptoService
