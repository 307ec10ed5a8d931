#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

const std::string kPlain = "protected text of 40 bytes, three blocks";

class OneCallEncryption : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

TEST_F(OneCallEncryption, EveryFormMakesARecordTheOtherFormsRead) {
  std::vector<std::string> texts(6);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(kPlain.data());
  ASSERT_EQ(EncryptData(bytes, kPlain.size(), texts[0], ""), PXA_OK);
  ASSERT_EQ(EncryptData(SecureBlock(kPlain.begin(), kPlain.end()), texts[1], "ZKSystem"), PXA_OK);
  ASSERT_EQ(EncryptData(kPlain, texts[2], ""), PXA_OK);
  ASSERT_EQ(EncryptWithPassword(bytes, kPlain.size(), "pw", texts[3]), PXA_OK);
  ASSERT_EQ(EncryptWithPassword(kPlain, "pw", texts[4]), PXA_OK);
  ASSERT_EQ(EncryptWithPassword(SecureBlock(kPlain.begin(), kPlain.end()), "pw", texts[5]), PXA_OK);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    SecureBlock decrypted;
    ASSERT_EQ(i < 3 ? DecryptData(texts[i], decrypted, "") : DecryptWithPassword(texts[i], "pw", decrypted), PXA_OK);
    EXPECT_EQ(std::string(decrypted.begin(), decrypted.end()), kPlain) << i;
  }
  CipherMeta_t meta;
  std::vector<std::uint8_t> cipherBytes;
  ASSERT_TRUE(DeserialzeCipherData(texts[0], meta, cipherBytes));
  EXPECT_EQ(meta.keyName, "QV_ENCYPT_DECRYPT_0");
  EXPECT_EQ(meta.cipherName, "aes-256-cbc");
  std::string text;
  ASSERT_EQ(EncryptData(nullptr, 0, text, ""), PXA_OK) << "an empty plain text is still encrypted";
  SecureBlock decrypted(2, 1);
  ASSERT_EQ(DecryptData(text, decrypted, ""), PXA_OK);
  EXPECT_TRUE(decrypted.empty());
  text = "untouched";
  EXPECT_EQ(EncryptData("x", text, "NoSuchKeystore"), ~PxaResult{0});
  EXPECT_EQ(text, "untouched");
}

TEST_F(OneCallEncryption, SplitRecordFormRefusesAndFailsWithoutTouchingTheOutput) {
  std::string metaJson = "untouched";
  std::vector<std::uint8_t> cipherBytes;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(kPlain.data());
  ASSERT_EQ(EncryptWithPassword(bytes, kPlain.size(), "pw", metaJson, cipherBytes), PXA_OK);
  ASSERT_EQ(cipherBytes.size(), 48U);
  EXPECT_EQ(metaJson.find("\"cd\""), std::string::npos);
  EXPECT_NE(metaJson.find("\"dn\":\"sha256\",\"it\":10000,"), std::string::npos) << metaJson;
  std::vector<std::uint8_t> out(cipherBytes.size());
  std::size_t length = 0;
  ASSERT_EQ(DecryptWithPassword(metaJson, cipherBytes.data(), cipherBytes.size(), "pw", out.data(), length), PXA_OK);
  EXPECT_EQ(std::string(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(length)), kPlain);
  // The result of a refused decryption; the output must be left alone.
  const auto refusal = [&](std::string meta) {
    std::vector<std::uint8_t> untouched(cipherBytes.size(), 0xAB);
    length = 99;
    const PxaResult result =
        DecryptWithPassword(meta, cipherBytes.data(), cipherBytes.size(), "pw", untouched.data(), length);
    EXPECT_TRUE(length == 99U && untouched == std::vector<std::uint8_t>(cipherBytes.size(), 0xAB)) << meta;
    return result;
  };
  for (const char* bad : {"not json", "{\"v\":1,\"cn\":\"aes-256-cbc\"}", "{\"cn\":\"aes-256-cbc\"}"}) {
    EXPECT_EQ(refusal(bad), PXA_ERR_CORRUPTED_DATA) << bad;
  }
  // Flipping bits of the second-to-last block's last byte flips them in the last plain block:
  // the padding byte 8 becomes 0, which no padding ends in. By then the blocks before it are
  // decrypted; none of them may reach the caller.
  cipherBytes[31] ^= 0x08;
  EXPECT_EQ(refusal(metaJson) >> 32, PXA_FAMILY_OPENSSL);
}

}  // namespace
}  // namespace QVCryptoService
