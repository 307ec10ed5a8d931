// The exported functions fed what nobody should send them (hostile_inputs.tsv, nesting 100000
// deep) give their documented answer; that none crashes is the fuzz targets' business.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/record_hygiene.h>

#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace QVCryptoService {
namespace {

TEST(HostileInput, GetsTheDocumentedAnswer) {
  ASSERT_TRUE(InitLibrary());
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  std::string otherHmac;
  ASSERT_EQ(CreateHMAC(std::string("other"), otherHmac), PXA_OK);
  std::vector<testsupport::DataRow> inputs = testsupport::ReadDataTable("hostile_inputs.tsv");
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  const auto* deepBytes = reinterpret_cast<const unsigned char*>(deep.data());
  inputs.push_back({"generated here",
                    inputs[0].names,
                    {"nesting 100000 deep", base64_encode(deepBytes, static_cast<std::uint32_t>(deep.size())), deep}});
  for (const testsupport::DataRow& row : inputs) {
    SCOPED_TRACE(row.where + " " + row["name"]);
    const std::string& serialized = row["serialized"];
    const std::string& json = row["json"];
    // As a record, it is refused.
    SecureBlock plain;
    EXPECT_EQ(DecryptData(serialized, plain, ""), PXA_ERR_CORRUPTED_DATA);
    EXPECT_EQ(DecryptWithPassword(serialized, "password", plain), PXA_ERR_CORRUPTED_DATA);
    EXPECT_TRUE(plain.empty());
    std::string metaJson = json;
    std::array<std::uint8_t, 16> out{};
    std::size_t plainLength = 77;
    EXPECT_EQ(DecryptWithPassword(metaJson, reinterpret_cast<const std::uint8_t*>(serialized.data()), serialized.size(),
                                  "password", out.data(), plainLength),
              PXA_ERR_CORRUPTED_DATA);
    EXPECT_EQ(plainLength, 77U) << "plainLength touched on failure";
    EXPECT_FALSE(QVpax::getInstance()->CryptoIntrf()->isQVCrypto(serialized));
    CipherMeta_t meta;
    std::vector<std::uint8_t> bytes;
    EXPECT_FALSE(DeserialzeCipherData(serialized, meta, bytes) || CipherMetaFromJsonStr(json, meta));
    EXPECT_FALSE(CipherFromJsonStr(json, meta, bytes));
    HashingData_t hashing;
    SigningData_t signing;
    EXPECT_FALSE(DeserializeHashingData(hashing, serialized) || DeserializeSigningData(signing, serialized));
    EXPECT_FALSE(HashingDataFromJsonStr(hashing, json) || SigningDataFromJsonStr(signing, json));
    EXPECT_FALSE(VerifyDigest(std::string("data"), serialized) || VerifyChecksum(std::string("data"), serialized));
    EXPECT_FALSE(VerifyHMAC(std::string("data"), serialized) || VerifyPasswordHash("password", serialized));
    // The upgrade check finds no record in it (at most the shape of an SSV text).
    const RecordVerdict verdict = CheckRecord(serialized, RecordPolicy{}).verdict;
    EXPECT_TRUE(verdict == RecordVerdict::kNotARecord || verdict == RecordVerdict::kCannotJudge);
    bool verified = true;
    std::string upgraded;
    EXPECT_FALSE(VerifyPasswordHashArgon2id("password", serialized));
    EXPECT_EQ(VerifyAndUpgradePasswordHash("password", serialized, verified, upgraded), PXA_ERR_CORRUPTED_DATA);
    EXPECT_FALSE(verified || !upgraded.empty());
    char* untouched = reinterpret_cast<char*>(&untouched);
    char* text = untouched;
    EXPECT_EQ(QVPBDecrypt(serialized.c_str(), &text, "password"), 0);
    EXPECT_EQ(text, untouched);

    // As data, a password or a keystore name, it is taken as it is.
    const std::string& data = serialized;
    std::string hmac, hash;
    ASSERT_EQ(CreateHMAC(data, hmac), PXA_OK);
    ASSERT_EQ(CreatePasswordHash(data, hash), PXA_OK);
    EXPECT_TRUE(VerifyHMAC(data, hmac) && VerifyPasswordHash(data, hash));
    EXPECT_FALSE(VerifyHMAC(data, otherHmac));
    std::string cipherText;
    ASSERT_EQ(EncryptWithPassword(data, data, cipherText), PXA_OK);
    ASSERT_EQ(DecryptWithPassword(cipherText, data, plain), PXA_OK);
    EXPECT_EQ(std::string(plain.begin(), plain.end()), data);
    ASSERT_EQ(EncryptData(data, cipherText, ""), PXA_OK);
    // Decryption searches every registered keystore, whatever name it is given.
    ASSERT_EQ(DecryptData(cipherText, plain, data), PXA_OK);
    EXPECT_EQ(std::string(plain.begin(), plain.end()), data);
  }
}

}  // namespace
}  // namespace QVCryptoService
