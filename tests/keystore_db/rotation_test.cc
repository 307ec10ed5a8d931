// Rotation end to end through the real engines: the keystore registered as "ZKSystem", keys
// fetched by the encryption and signing engines exactly as a product's calls fetch them.

#include "tests/keystore_db/keystore_db_fixture.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/qvpax.h>

namespace keystoredbtest {
namespace {

using namespace QVCryptoService;

constexpr const char* kEncryptionKey = "QV_ENCYPT_DECRYPT_0";
constexpr const char* kIntegrityKey = "QV_HMAC_INTEGRITY_0";
constexpr PxaResult kKeystoreFamily = PxaResult{1} << 32;

std::int32_t CipherKeyVersion(const std::string& text) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DeserialzeCipherData(text, meta, bytes));
  return meta.keyVersion;
}

std::int32_t HmacKeyVersion(const std::string& text) {
  SigningData_t record;
  EXPECT_TRUE(DeserializeSigningData(record, text));
  return record.keyVersion;
}

std::string Decrypted(const std::string& text, PxaResult expected = PXA_OK) {
  SecureBlock plain;
  EXPECT_EQ(DecryptData(text, plain, "ZKSystem"), expected) << PxaErrorReason(DecryptData(text, plain, "ZKSystem"));
  return std::string(plain.begin(), plain.end());
}

QVKeyControlData Algorithm(const std::string& name) {
  QVKeyControlData ctl;
  ctl.algorithm = name;
  return ctl;
}

class RotationTest : public KeystoreDbTest {
 protected:
  void SetUp() override {
    KeystoreDbTest::SetUp();
    if (HasFatalFailure()) {
      return;
    }
    keystore_ = Open(masterKeySource_);
    ASSERT_EQ(keystore_->createKey(kEncryptionKey), KS_SUCCESS);
    const QVKeyControlData sha256 = Algorithm("sha256");
    ASSERT_EQ(keystore_->createKey(kIntegrityKey, &sha256), KS_SUCCESS);
    ASSERT_TRUE(SetKeystore("ZKSystem", std::shared_ptr<QVKeystoreDb>(keystore_.get(), [](QVKeystoreDb*) {})));
  }
  void TearDown() override {
    // The manager holds a non-owning pointer: put something harmless in its place first.
    (void)SetKeystore("ZKSystem", std::make_shared<QVKeystoreDb>());
    keystore_.reset();
    KeystoreDbTest::TearDown();
  }

  std::string masterKeySource_ = "host";
  std::unique_ptr<QVKeystoreDb> keystore_;
};

TEST_P(RotationTest, OldTextsDecryptAndValidateNewOnesUseTheNewVersionDestroyingTheOldFailsThem) {
  std::string textV1;
  ASSERT_EQ(EncryptData(std::string("meet at noon"), textV1, "ZKSystem"), PXA_OK);
  std::string hmacV1;
  ASSERT_EQ(CreateHMAC(std::string("ledger line 1"), hmacV1), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(textV1), 1);
  EXPECT_EQ(HmacKeyVersion(hmacV1), 1);

  ASSERT_EQ(keystore_->reKey(kEncryptionKey), KS_SUCCESS);
  ASSERT_EQ(keystore_->reKey(kIntegrityKey), KS_SUCCESS);

  EXPECT_EQ(Decrypted(textV1), "meet at noon");
  EXPECT_TRUE(VerifyHMAC(std::string("ledger line 1"), hmacV1));
  EXPECT_FALSE(VerifyHMAC(std::string("ledger line 2"), hmacV1));
  std::string textV2;
  ASSERT_EQ(EncryptData(std::string("meet at one"), textV2, "ZKSystem"), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(textV2), 2);
  std::string hmacV2;
  ASSERT_EQ(CreateHMAC(std::string("ledger line 1"), hmacV2), PXA_OK);
  EXPECT_EQ(HmacKeyVersion(hmacV2), 2);
  EXPECT_NE(hmacV1, hmacV2);

  // What `qvcrypto rewrap` does: the same plain text, now under version 2.
  std::string rewrapped;
  ASSERT_EQ(EncryptData(Decrypted(textV1), rewrapped, "ZKSystem"), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(rewrapped), 2);

  ASSERT_EQ(keystore_->destroyKey(kEncryptionKey, 1), KS_SUCCESS);
  Decrypted(textV1, kKeystoreFamily | KS_ERR_KEY_VERSION_NOT_FOUND);
  EXPECT_EQ(PxaErrorReason(kKeystoreFamily | KS_ERR_KEY_VERSION_NOT_FOUND), "KEYSTORE key version not found");
  EXPECT_EQ(Decrypted(rewrapped), "meet at noon");
  EXPECT_EQ(Decrypted(textV2), "meet at one");
  ASSERT_EQ(keystore_->destroyKey(kIntegrityKey, 1), KS_SUCCESS);
  EXPECT_FALSE(VerifyHMAC(std::string("ledger line 1"), hmacV1));
  EXPECT_TRUE(VerifyHMAC(std::string("ledger line 1"), hmacV2));
}

TEST_P(RotationTest, RetiredCurrentVersionRefusesEncryptionAndSigningUntilTheNextRotation) {
  std::string text;
  ASSERT_EQ(EncryptData(std::string("x"), text, "ZKSystem"), PXA_OK);
  std::string mac;
  ASSERT_EQ(CreateHMAC(std::string("ledger"), mac), PXA_OK);
  ASSERT_EQ(keystore_->retireKey(kEncryptionKey, 0), KS_SUCCESS);
  ASSERT_EQ(keystore_->retireKey(kIntegrityKey, 0), KS_SUCCESS);
  std::string refused;
  EXPECT_EQ(EncryptData(std::string("y"), refused, "ZKSystem"), kKeystoreFamily | KS_ERR_KEY_VERSION_NOT_FOUND);
  EXPECT_TRUE(refused.empty());
  EXPECT_EQ(CreateHMAC(std::string("ledger"), refused), kKeystoreFamily | KS_ERR_KEY_VERSION_NOT_FOUND);
  EXPECT_TRUE(refused.empty());
  // What they made before still decrypts and validates.
  EXPECT_EQ(Decrypted(text), "x");
  EXPECT_TRUE(VerifyHMAC(std::string("ledger"), mac));
  ASSERT_EQ(keystore_->reKey(kEncryptionKey), KS_SUCCESS);
  ASSERT_EQ(EncryptData(std::string("y"), text, "ZKSystem"), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(text), 2);
}

TEST_P(RotationTest, DestroyingEveryVersionLeavesTheNameUnknownToEncryption) {
  std::string text;
  ASSERT_EQ(EncryptData(std::string("x"), text, "ZKSystem"), PXA_OK);
  ASSERT_EQ(keystore_->reKey(kEncryptionKey), KS_SUCCESS);
  ASSERT_EQ(keystore_->destroyKey(kEncryptionKey, 0), KS_SUCCESS);
  std::string refused;
  EXPECT_EQ(EncryptData(std::string("y"), refused, "ZKSystem"), kKeystoreFamily | KS_ERR_KEY_NOT_FOUND);
  Decrypted(text, kKeystoreFamily | KS_ERR_KEY_VERSION_NOT_FOUND);
  // A new key under the name starts after the destroyed numbers: old texts never meet it.
  ASSERT_EQ(keystore_->createKey(kEncryptionKey), KS_SUCCESS);
  ASSERT_EQ(EncryptData(std::string("y"), text, "ZKSystem"), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(text), 3);
}

INSTANTIATE_TEST_SUITE_P(Backends, RotationTest, testing::Values(Backend::kSqlite, Backend::kPostgres), BackendName);

// The same rotation with the master key kept under this machine's SSV.
class SsvRotationTest : public RotationTest {
 protected:
  SsvRotationTest() { masterKeySource_ = "ssv"; }
};

TEST_P(SsvRotationTest, RotationWorksWithTheSsvMasterKey) {
  std::string text;
  ASSERT_EQ(EncryptData(std::string("on this machine"), text, "ZKSystem"), PXA_OK);
  ASSERT_EQ(keystore_->reKey(kEncryptionKey), KS_SUCCESS);
  EXPECT_EQ(Decrypted(text), "on this machine");
  // A second keystore object on the same database finds the master key the first one stored.
  QVKeystoreDb again;
  ASSERT_EQ(again.initialize(Config("ssv")), KS_SUCCESS);
  SecureBlock first;
  SecureBlock second;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore_->getKey(kEncryptionKey, first, ctl, 1), KS_SUCCESS);
  ASSERT_EQ(again.getKey(kEncryptionKey, second, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(first, second);
}

INSTANTIATE_TEST_SUITE_P(Backends, SsvRotationTest, testing::Values(Backend::kSqlite, Backend::kPostgres), BackendName);

}  // namespace
}  // namespace keystoredbtest
