// The exported functions that take records, data or passwords, fed what nobody should send them:
// nothing, one byte, text that is not base64, base64 of something that is not JSON, JSON of the
// wrong shape, members of the wrong type, numbers beyond 32 bits, nesting 100000 deep and NUL
// bytes inside otherwise good input. Each must give its documented answer: a result code, false,
// or an output left untouched. That no input crashes them is what the fuzz targets check
// (tests/fuzz replays their corpus, which holds these inputs too).

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>

#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

std::string Base64(const std::string& text) {
  return base64_encode(reinterpret_cast<const unsigned char*>(text.data()), static_cast<std::uint32_t>(text.size()));
}

// One hostile input in the two forms the functions take (see tests/data/hostile_inputs.tsv).
struct Hostile {
  std::string name;
  std::string serialized;
  std::string json;
};

const std::vector<Hostile>& HostileInputs() {
  static const std::vector<Hostile> inputs = [] {
    std::vector<Hostile> all;
    for (const testsupport::DataRow& row : testsupport::ReadDataTable("hostile_inputs.tsv")) {
      all.push_back({row["name"], row["serialized"], row["json"]});
    }
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    all.push_back({"nesting 100000 deep", Base64(deep), deep});
    return all;
  }();
  return inputs;
}

class HostileInput : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

TEST_F(HostileInput, RecordReadersRefuse) {
  for (const Hostile& in : HostileInputs()) {
    SCOPED_TRACE(in.name);
    SecureBlock plain;
    EXPECT_EQ(DecryptData(in.serialized, plain, ""), PXA_ERR_CORRUPTED_DATA);
    EXPECT_EQ(DecryptWithPassword(in.serialized, "password", plain), PXA_ERR_CORRUPTED_DATA);
    EXPECT_TRUE(plain.empty());
    std::string metaJson = in.json;
    std::array<std::uint8_t, 16> out{};
    std::size_t plainLength = 77;
    EXPECT_EQ(DecryptWithPassword(metaJson, reinterpret_cast<const std::uint8_t*>(in.serialized.data()),
                                  in.serialized.size(), "password", out.data(), plainLength),
              PXA_ERR_CORRUPTED_DATA);
    EXPECT_EQ(plainLength, 77U) << "plainLength touched on failure";
    EXPECT_FALSE(QVpax::getInstance()->CryptoIntrf()->isQVCrypto(in.serialized));

    CipherMeta_t meta;
    std::vector<std::uint8_t> bytes;
    EXPECT_FALSE(DeserialzeCipherData(in.serialized, meta, bytes));
    EXPECT_FALSE(CipherMetaFromJsonStr(in.json, meta));
    EXPECT_FALSE(CipherFromJsonStr(in.json, meta, bytes));
    HashingData_t hashing;
    SigningData_t signing;
    EXPECT_FALSE(DeserializeHashingData(hashing, in.serialized));
    EXPECT_FALSE(DeserializeSigningData(signing, in.serialized));
    EXPECT_FALSE(HashingDataFromJsonStr(hashing, in.json));
    EXPECT_FALSE(SigningDataFromJsonStr(signing, in.json));
    EXPECT_FALSE(VerifyDigest(std::string("data"), in.serialized));
    EXPECT_FALSE(VerifyChecksum(std::string("data"), in.serialized));
    EXPECT_FALSE(VerifyHMAC(std::string("data"), in.serialized));
    EXPECT_FALSE(VerifyPasswordHash("password", in.serialized));

    char* untouched = reinterpret_cast<char*>(&untouched);
    char* text = untouched;
    EXPECT_EQ(QVPBDecrypt(in.serialized.c_str(), &text, "password"), 0);
    EXPECT_EQ(text, untouched);
    // Not an error to decode junk: the bytes before the fault, or nothing; never more than the
    // text can hold.
    EXPECT_LE(base64_decode(in.serialized).size(), in.serialized.size() / 4 * 3);
  }
}

// Data, passwords and keystore names are taken as they are, whatever bytes they hold.
TEST_F(HostileInput, DataAndPasswordsAreTakenAsTheyAre) {
  std::string otherHmac;
  ASSERT_EQ(CreateHMAC(std::string("other"), otherHmac), PXA_OK);
  for (const Hostile& in : HostileInputs()) {
    SCOPED_TRACE(in.name);
    const std::string& data = in.serialized;
    std::string digest;
    std::string hmac;
    std::string hash;
    ASSERT_EQ(CreateDigest(data, digest), PXA_OK);
    ASSERT_EQ(CreateHMAC(data, hmac), PXA_OK);
    ASSERT_EQ(CreatePasswordHash(data, hash), PXA_OK);
    EXPECT_TRUE(VerifyDigest(data, digest) && VerifyHMAC(data, hmac) && VerifyPasswordHash(data, hash));
    EXPECT_FALSE(VerifyHMAC(data, otherHmac));
    std::string key;
    // The salt repeats the password up to 16 bytes, which an empty one cannot do.
    EXPECT_EQ(CreateDerivedKey(data, key), data.empty() ? PXA_ERR_INVALID_ARGUMENTS : PXA_OK);

    std::string cipherText;
    SecureBlock plain;
    ASSERT_EQ(EncryptWithPassword(data, data, cipherText), PXA_OK);
    ASSERT_EQ(DecryptWithPassword(cipherText, data, plain), PXA_OK);
    EXPECT_EQ(std::string(plain.begin(), plain.end()), data);
    ASSERT_EQ(EncryptData(data, cipherText, ""), PXA_OK);
    // Decryption searches every registered keystore, whatever name it is given.
    ASSERT_EQ(DecryptData(cipherText, plain, data), PXA_OK);
    EXPECT_EQ(std::string(plain.begin(), plain.end()), data);
    // No keystore is registered under any of these names (an empty one means "ZKSystem").
    if (!data.empty()) {
      const std::string before = cipherText;
      EXPECT_EQ(EncryptData(std::string("plain"), cipherText, data), ~PxaResult{0});
      EXPECT_EQ(cipherText, before);
    }
  }
}

}  // namespace
}  // namespace QVCryptoService
