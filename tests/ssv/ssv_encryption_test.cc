// Encryption under the machine's SSV: the engine's text and binary forms, the static form with
// given group secrets, and the free and C functions that go through the library's engine.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace QVCryptoService {
namespace {

using testsupport::LogEntry;

SecureBlock Block(const std::string& text) { return SecureBlock(text.begin(), text.end()); }
std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

LogEntry SsvLine(const std::string& function, const std::string& message) {
  return {3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::" + function, message};
}

TEST(SsvEncryptionWithoutSsv, EveryCallReportsElevenBeforeLookingAtItsInput) {
  const testsupport::TempMachineRoot root;
  QVSSVCrypto engine;
  const testsupport::CapturedLog log;
  std::string out = "untouched";
  EXPECT_EQ(engine.QVEncrypt(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(engine.QVEncrypt_Bin(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(3, 'c'), plain), PXA_ERR_SSV_FILE) << "11 before the length check";
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_SSV_FILE);
  EXPECT_EQ(Text(plain), "kept");
  const std::vector<LogEntry> entries = log.entries();
  for (const char* function : {"QVEncrypt", "QVEncrypt_Bin", "QVDecrypt_Bin"}) {
    EXPECT_NE(std::ranges::find(entries, SsvLine(function, "Failed to reconstruct the SSV info")), entries.end());
  }
}

class SsvEncryption : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS); }
  testsupport::TempMachineRoot m_root;
};

TEST_F(SsvEncryption, AFreshEngineDecryptsBothFormsWithFreshIvs) {
  for (const std::string& plain : {std::string(), std::string(1000, 'c')}) {
    std::vector<std::string> texts(3);
    QVSSVCrypto writer;
    ASSERT_EQ(writer.QVEncrypt(Block(plain), texts[0]), PXA_OK);
    ASSERT_EQ(writer.QVEncrypt(Block(plain), texts[1]), PXA_OK);
    ASSERT_EQ(writer.QVEncrypt_Bin(Block(plain), texts[2]), PXA_OK);
    EXPECT_NE(texts[0], texts[1]);
    EXPECT_EQ(texts[2].size(), 16 + (plain.size() / 16 + 1) * 16) << "IV, then the padded cipher text";
    QVSSVCrypto reader;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      SecureBlock decrypted;
      ASSERT_EQ(i < 2 ? reader.QVDecrypt(texts[i], decrypted) : reader.QVDecrypt_Bin(texts[i], decrypted), PXA_OK);
      EXPECT_EQ(Text(decrypted), plain);
    }
  }
}

TEST_F(SsvEncryption, AnotherMachinesSsvCannotDecrypt) {
  std::string text;
  ASSERT_EQ(QVSSVCrypto().QVEncrypt_Bin(Block("bound to this machine"), text), PXA_OK);
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  SecureBlock plain = Block("kept");
  // Without a MAC a wrong key now and then passes the padding check; it never gives the text.
  const PxaResult result = QVSSVCrypto().QVDecrypt_Bin(text, plain);
  EXPECT_NE(Text(plain), "bound to this machine");
  if (result != PXA_OK) {
    EXPECT_EQ(Text(plain), "kept");
  }
}

TEST_F(SsvEncryption, ShortAndDamagedInputs) {
  QVSSVCrypto engine;
  const testsupport::CapturedLog log;
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(15, 'c'), plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(log.entries().back(), SsvLine("QVDecrypt_Bin", "Invalid cipher text received"));
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(16, 'c'), plain) >> 32, PXA_FAMILY_OPENSSL) << "an IV alone";
  std::string binary;
  ASSERT_EQ(engine.QVEncrypt_Bin(Block("sixteen bytes!!!"), binary), PXA_OK);
  binary.pop_back();
  EXPECT_EQ(engine.QVDecrypt_Bin(binary, plain) >> 32, PXA_FAMILY_OPENSSL);
  EXPECT_EQ(Text(plain), "kept");
}

TEST_F(SsvEncryption, EncryptBySsvNeedsExactlyFiveSecrets) {
  const testsupport::CapturedLog log;
  std::string out = "untouched";
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(4, std::string(32, 'k')), Block("x"), out),
            PXA_ERR_SSV_FILE);
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV({}, Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  EXPECT_EQ(log.entries().back(), SsvLine("EncryptBySSV_Bin", "The SSV is corrupted"));
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(5, std::string(32, 'k')), Block("x"), out), PXA_OK);
}

// The C functions go through the library's engine; a failure gives an allocated empty string, or
// an empty string in the caller's own buffer.
TEST_F(SsvEncryption, CFunctionsGoThroughTheLibrarysEngine) {
  ASSERT_TRUE(InitLibrary());
  std::vector<char*> allocated(3, nullptr);
  SSVEncrypt("c text", &allocated[0]);
  ASSERT_NE(allocated[0], nullptr);
  SSVDecrypt(allocated[0], &allocated[1]);
  SSVDecrypt("not a cipher text", &allocated[2]);
  EXPECT_STREQ(allocated[1], "c text");
  EXPECT_STREQ(allocated[2], "");
  for (char* cText : allocated) {
    std::free(cText);  // NOLINT(cppcoreguidelines-no-malloc)
  }
  char buffer[128];
  char* callerBuffer = buffer;
  SSVDecrypt("still not one", &callerBuffer);
  EXPECT_EQ(callerBuffer, buffer);
  EXPECT_STREQ(buffer, "");
}

}  // namespace
}  // namespace QVCryptoService
