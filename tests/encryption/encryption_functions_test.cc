#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>

#include "platform/task_memory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr PxaResult kAllOnes = ~PxaResult{0};

class OneCallEncryption : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

TEST_F(OneCallEncryption, EveryEncryptDataFormDecryptsWithDecryptData) {
  const std::string plain = "keystore protected text";
  std::vector<std::string> texts(3);
  ASSERT_EQ(EncryptData(reinterpret_cast<const std::uint8_t*>(plain.data()), plain.size(), texts[0], ""), PXA_OK);
  ASSERT_EQ(EncryptData(SecureBlock(plain.begin(), plain.end()), texts[1], "ZKSystem"), PXA_OK);
  ASSERT_EQ(EncryptData(plain, texts[2], ""), PXA_OK);
  for (const std::string& text : texts) {
    SecureBlock decrypted;
    ASSERT_EQ(DecryptData(text, decrypted, ""), PXA_OK);
    EXPECT_EQ(std::string(decrypted.begin(), decrypted.end()), plain);
    CipherMeta_t meta;
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(DeserialzeCipherData(text, meta, bytes));
    EXPECT_EQ(meta.keyName, "QV_ENCYPT_DECRYPT_0");
    EXPECT_EQ(meta.cipherName, "aes-256-cbc");
  }
  std::string empty;
  ASSERT_EQ(EncryptData(nullptr, 0, empty, ""), PXA_OK) << "an empty plain text is still encrypted";
  SecureBlock decrypted(2, 1);
  ASSERT_EQ(DecryptData(empty, decrypted, ""), PXA_OK);
  EXPECT_TRUE(decrypted.empty());
}

TEST_F(OneCallEncryption, UnregisteredKeystoreGivesAllOnes) {
  std::string text = "untouched";
  EXPECT_EQ(EncryptData("x", text, "NoSuchKeystore"), kAllOnes);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(PxaErrorReason(kAllOnes), "undefined error");
}

TEST_F(OneCallEncryption, EveryPasswordFormDecrypts) {
  const std::string plain = "password protected text";
  const std::string password = "correct horse battery staple";
  std::vector<std::string> texts(3);
  ASSERT_EQ(EncryptWithPassword(reinterpret_cast<const std::uint8_t*>(plain.data()), plain.size(), password, texts[0]),
            PXA_OK);
  ASSERT_EQ(EncryptWithPassword(plain, password, texts[1]), PXA_OK);
  ASSERT_EQ(EncryptWithPassword(SecureBlock(plain.begin(), plain.end()), password, texts[2]), PXA_OK);
  for (const std::string& text : texts) {
    SecureBlock decrypted;
    ASSERT_EQ(DecryptWithPassword(text, password, decrypted), PXA_OK);
    EXPECT_EQ(std::string(decrypted.begin(), decrypted.end()), plain);
    // Without a MAC a wrong key is caught by the padding check only most of the time; what
    // must never happen is the right plain text coming out.
    SecureBlock wrong;
    const PxaResult wrongResult = DecryptWithPassword(text, password + "!", wrong);
    EXPECT_TRUE(wrongResult != PXA_OK || std::string(wrong.begin(), wrong.end()) != plain);
  }
  EXPECT_NE(texts[0], texts[1]) << "fresh salt and IV every time";
}

// A decryption that fails at the padding has decrypted every block before the last by then; none
// of it may reach the caller's buffer. Flipping bits in the last byte of the second-to-last block
// flips the same bits of the last plain block: here they turn the padding's last byte (8) into 0,
// which no padding ends in, so the failure is certain.
TEST_F(OneCallEncryption, FailedPaddingLeavesTheOutputBufferAlone) {
  const std::string plain(40, 'p');
  std::string metaJson;
  std::vector<std::uint8_t> cipherBytes;
  ASSERT_EQ(EncryptWithPassword(reinterpret_cast<const std::uint8_t*>(plain.data()), plain.size(), "pw", metaJson,
                                cipherBytes),
            PXA_OK);
  ASSERT_EQ(cipherBytes.size(), 48U);
  cipherBytes[31] ^= 0x08;
  std::vector<std::uint8_t> out(cipherBytes.size(), 0xAB);
  std::size_t length = 99;
  const PxaResult result =
      DecryptWithPassword(metaJson, cipherBytes.data(), cipherBytes.size(), "pw", out.data(), length);
  EXPECT_EQ(result >> 32, PXA_FAMILY_OPENSSL);
  EXPECT_EQ(length, 99U);
  EXPECT_EQ(out, std::vector<std::uint8_t>(cipherBytes.size(), 0xAB));
}

TEST_F(OneCallEncryption, FiveAndSixArgumentFormsAgree) {
  const std::string plain = "split record and bytes";
  std::string metaJson = "untouched";
  std::vector<std::uint8_t> cipherBytes;
  ASSERT_EQ(EncryptWithPassword(reinterpret_cast<const std::uint8_t*>(plain.data()), plain.size(), "pw", metaJson,
                                cipherBytes),
            PXA_OK);
  EXPECT_EQ(metaJson.back(), '\n');
  EXPECT_EQ(metaJson.find("\"cd\""), std::string::npos);
  std::vector<std::uint8_t> out(cipherBytes.size());
  std::size_t plainLength = 0;
  ASSERT_EQ(DecryptWithPassword(metaJson, cipherBytes.data(), cipherBytes.size(), "pw", out.data(), plainLength),
            PXA_OK);
  EXPECT_EQ(std::string(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(plainLength)), plain);

  for (std::string bad : {std::string("not json"), std::string("{\"v\":1,\"cn\":\"aes-256-cbc\"}"),
                          std::string("{\"v\":1,\"iv\":\"\"}"), std::string("{\"cn\":\"aes-256-cbc\"}")}) {
    std::vector<std::uint8_t> untouched(cipherBytes.size(), 0xAB);
    std::size_t length = 99;
    EXPECT_EQ(DecryptWithPassword(bad, cipherBytes.data(), cipherBytes.size(), "pw", untouched.data(), length),
              PXA_ERR_CORRUPTED_DATA)
        << bad;
    EXPECT_EQ(length, 99U);
    EXPECT_EQ(untouched, std::vector<std::uint8_t>(cipherBytes.size(), 0xAB));
  }
}

TEST_F(OneCallEncryption, CFunctionsRoundTripAndTreatEmptyAsFailure) {
  char* cipherText = nullptr;
  ASSERT_EQ(QVPBEncrypt("plain words", &cipherText, "pw"), 1);
  ASSERT_NE(cipherText, nullptr);
  char* plain = nullptr;
  ASSERT_EQ(QVPBDecrypt(cipherText, &plain, "pw"), 1);
  EXPECT_STREQ(plain, "plain words");
  platform::FreeCallerMemory(plain);
  char* wrongPlain = nullptr;
  if (QVPBDecrypt(cipherText, &wrongPlain, "wrong") == 1) {
    // A wrong key passes the padding check now and then; it never yields the plain text.
    EXPECT_STRNE(wrongPlain, "plain words");
    platform::FreeCallerMemory(wrongPlain);
  }
  platform::FreeCallerMemory(cipherText);
  char* untouched = reinterpret_cast<char*>(&plain);
  char* const before = untouched;
  char* emptyCipher = nullptr;
  ASSERT_EQ(QVPBEncrypt("", &emptyCipher, "pw"), 1);
  EXPECT_EQ(QVPBDecrypt(emptyCipher, &untouched, "pw"), 0) << "an empty plain text reads as a failure";
  platform::FreeCallerMemory(emptyCipher);
  EXPECT_EQ(QVPBDecrypt("", &untouched, "pw"), 0);
  EXPECT_EQ(QVPBDecrypt("garbage", &untouched, "pw"), 0);
  EXPECT_EQ(untouched, before);
}

}  // namespace
}  // namespace QVCryptoService
