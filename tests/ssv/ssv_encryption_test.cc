#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::CapturedLog;
using testsupport::LogEntry;
using testsupport::TempMachineRoot;

SecureBlock Block(const std::string& text) { return SecureBlock(text.begin(), text.end()); }
std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

LogEntry SsvLine(const std::string& function, const std::string& message) {
  return {3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::" + function, message};
}

TEST(SsvEncryptionWithoutSsv, EveryCallReportsElevenAndRecoveryIsCheckedBeforeLength) {
  const TempMachineRoot root;
  QVSSVCrypto engine;
  const CapturedLog log;
  std::string out = "untouched";
  EXPECT_EQ(engine.QVEncrypt(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(engine.QVEncrypt_Bin(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(3, 'c'), plain), PXA_ERR_SSV_FILE) << "11 before the length check";
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_SSV_FILE);
  EXPECT_EQ(Text(plain), "kept");
  const std::vector<LogEntry> entries = log.entries();
  for (const LogEntry& expected : {SsvLine("QVEncrypt", "Failed to reconstruct the SSV info"),
                                   SsvLine("QVEncrypt_Bin", "Failed to reconstruct the SSV info"),
                                   SsvLine("QVDecrypt_Bin", "Failed to reconstruct the SSV info")}) {
    EXPECT_NE(std::find(entries.begin(), entries.end(), expected), entries.end()) << expected;
  }
}

class SsvEncryption : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(QVSSVCrypto::generateSSV(root_.string(), false), KS_SUCCESS); }
  TempMachineRoot root_;
};

TEST_F(SsvEncryption, TextAndBinaryFormsRoundTripWithFreshIvs) {
  QVSSVCrypto engine;
  for (const std::string& plain : {std::string(), std::string("a"), std::string(16, 'b'), std::string(1000, 'c')}) {
    std::string first;
    std::string second;
    ASSERT_EQ(engine.QVEncrypt(Block(plain), first), PXA_OK);
    ASSERT_EQ(engine.QVEncrypt(Block(plain), second), PXA_OK);
    EXPECT_NE(first, second);
    for (const std::string& text : {first, second}) {
      SecureBlock decrypted;
      ASSERT_EQ(engine.QVDecrypt(text, decrypted), PXA_OK);
      EXPECT_EQ(Text(decrypted), plain);
    }
    std::string binary;
    ASSERT_EQ(engine.QVEncrypt_Bin(Block(plain), binary), PXA_OK);
    EXPECT_EQ(binary.size(), 16 + (plain.size() / 16 + 1) * 16) << "IV, then the padded cipher text";
    SecureBlock decrypted;
    ASSERT_EQ(engine.QVDecrypt_Bin(binary, decrypted), PXA_OK);
    EXPECT_EQ(Text(decrypted), plain);
  }
}

TEST_F(SsvEncryption, AFreshEngineReadsWhatAnotherOneWrote) {
  std::string text;
  {
    QVSSVCrypto writer;
    ASSERT_EQ(writer.QVEncrypt(Block("survives a restart"), text), PXA_OK);
  }
  QVSSVCrypto reader;
  SecureBlock plain;
  ASSERT_EQ(reader.QVDecrypt(text, plain), PXA_OK);
  EXPECT_EQ(Text(plain), "survives a restart");
}

TEST_F(SsvEncryption, AnotherMachinesSsvCannotDecrypt) {
  std::string text;
  {
    QVSSVCrypto engine;
    ASSERT_EQ(engine.QVEncrypt_Bin(Block("bound to this machine"), text), PXA_OK);
  }
  ASSERT_EQ(QVSSVCrypto::generateSSV(root_.string(), true), KS_SUCCESS);
  QVSSVCrypto elsewhere;
  SecureBlock plain = Block("kept");
  // Without a MAC a wrong key now and then passes the padding check; it never gives the text.
  const PxaResult result = elsewhere.QVDecrypt_Bin(text, plain);
  EXPECT_NE(Text(plain), "bound to this machine");
  if (result != PXA_OK) {
    EXPECT_EQ(Text(plain), "kept");
  }
}

TEST_F(SsvEncryption, ShortAndDamagedInputs) {
  QVSSVCrypto engine;
  const CapturedLog log;
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(15, 'c'), plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(log.entries().back(), SsvLine("QVDecrypt_Bin", "Invalid cipher text received"));
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(16, 'c'), plain) >> 32, PXA_FAMILY_OPENSSL)
      << "an IV alone passes the length check and fails in the cipher";
  std::string binary;
  ASSERT_EQ(engine.QVEncrypt_Bin(Block("sixteen bytes!!!"), binary), PXA_OK);
  binary.pop_back();
  EXPECT_EQ(engine.QVDecrypt_Bin(binary, plain) >> 32, PXA_FAMILY_OPENSSL);
  EXPECT_EQ(Text(plain), "kept");
}

TEST_F(SsvEncryption, EncryptBySsvNeedsExactlyFiveSecrets) {
  const CapturedLog log;
  std::string out = "untouched";
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(4, std::string(32, 'k')), Block("x"), out),
            PXA_ERR_SSV_FILE);
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV({}, Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  EXPECT_EQ(log.entries().back(), SsvLine("EncryptBySSV_Bin", "The SSV is corrupted"));
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(5, std::string(32, 'k')), Block("x"), out), PXA_OK);
}

TEST_F(SsvEncryption, FreeAndCFunctionsGoThroughTheSingleton) {
  ASSERT_TRUE(InitLibrary());
  std::string text;
  ASSERT_EQ(EncryptWithSSV("through the singleton", text), PXA_OK);
  SecureBlock plain;
  ASSERT_EQ(DecryptWithSSV(text, plain), PXA_OK);
  EXPECT_EQ(Text(plain), "through the singleton");
  std::string binary;
  ASSERT_EQ(EncryptWithSSV_Bin("binary", binary), PXA_OK);
  ASSERT_EQ(DecryptWithSSV_Bin(binary, plain), PXA_OK);
  EXPECT_EQ(Text(plain), "binary");

  char* cipherText = nullptr;
  SSVEncrypt("c text", &cipherText);
  ASSERT_NE(cipherText, nullptr);
  char* decrypted = nullptr;
  SSVDecrypt(cipherText, &decrypted);
  ASSERT_NE(decrypted, nullptr);
  EXPECT_STREQ(decrypted, "c text");
  std::free(decrypted);   // NOLINT(cppcoreguidelines-no-malloc): the C interface hands out malloc'd text
  std::free(cipherText);  // NOLINT(cppcoreguidelines-no-malloc)
  char* invalid = nullptr;
  SSVDecrypt("not a cipher text", &invalid);
  ASSERT_NE(invalid, nullptr);
  EXPECT_STREQ(invalid, "") << "a failure gives an allocated empty string";
  std::free(invalid);  // NOLINT(cppcoreguidelines-no-malloc)
  char buffer[128];
  char* callerBuffer = buffer;
  SSVDecrypt("still not one", &callerBuffer);
  EXPECT_EQ(callerBuffer, buffer);
  EXPECT_STREQ(buffer, "");
}

}  // namespace
}  // namespace QVCryptoService
