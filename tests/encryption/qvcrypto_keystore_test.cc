#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto.h>

#include "tests/support/data_table.h"
#include "tests/support/test_keystore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::DataRow;
using testsupport::ReadDataTable;
using testsupport::TestKeystore;

const std::string kCipher = "aes-256-cbc";
const std::string kKeyName = "QV_ENCYPT_DECRYPT_0";
const std::string kPlain = "secret payload";

class KeystoreEncryption : public testing::Test {
 protected:
  void SetUp() override {
    store_->AddKey(kKeyName, 1, SecureBlock(32, 0x11), kCipher);
    manager_->AddKeystore("ZKSystem", store_);
  }

  PxaResult Encrypt(const std::string& keyName = kKeyName, const std::string& keystore = "",
                    const std::string& cipher = kCipher) {
    return QVCrypto(manager_).encrypt(keystore, cipher, keyName, reinterpret_cast<const std::uint8_t*>(kPlain.data()),
                                      kPlain.size(), meta_, cipherText_);
  }

  PxaResult Decrypt(const CipherMeta_t& meta, const std::string& cipher = kCipher,
                    const std::string& keyName = kKeyName) {
    plain_.assign(cipherText_.size(), 0xCD);
    plainLength_ = 77;
    return QVCrypto(manager_).decrypt("", cipher, keyName, meta, cipherText_.data(), cipherText_.size(), plain_.data(),
                                      plainLength_);
  }

  std::shared_ptr<CQVKeystoreMgr> manager_ = std::make_shared<CQVKeystoreMgr>();
  std::shared_ptr<TestKeystore> store_ = std::make_shared<TestKeystore>();
  CipherMeta_t meta_;
  std::vector<std::uint8_t> cipherText_;
  std::vector<std::uint8_t> plain_;
  std::size_t plainLength_ = 0;
};

TEST_F(KeystoreEncryption, RawFormFillsTheRecordAndDecryptsWithTheRecordedVersion) {
  store_->AddKey(kKeyName, 3, SecureBlock(32, 0x33), kCipher);
  meta_.salt = {9, 9};
  ASSERT_EQ(Encrypt(), PXA_OK);
  EXPECT_TRUE(meta_.version == 1 && meta_.cipherName == kCipher && meta_.iv.size() == 16 && meta_.keyName == kKeyName);
  EXPECT_EQ(meta_.keyVersion, 3) << "the current version is recorded";
  EXPECT_EQ(meta_.salt, (std::vector<std::uint8_t>{9, 9})) << "members the engine does not write stay";
  EXPECT_EQ(cipherText_.size(), 16U);
  ASSERT_EQ(Decrypt(meta_), PXA_OK);
  EXPECT_EQ(std::string(plain_.begin(), plain_.begin() + static_cast<std::ptrdiff_t>(plainLength_)), kPlain);
  EXPECT_EQ(store_->requestedVersions().back(), 3);
  store_->AddKey(kKeyName, 3, SecureBlock(32, 0x33), kCipher, 3);
  EXPECT_EQ(Encrypt(), PXA_ERR_KEY_NOT_ACTIVE);
  EXPECT_EQ(Decrypt(meta_), PXA_OK) << "an inactive key still decrypts";
}

TEST_F(KeystoreEncryption, RefusalsReturnTheirValueAndWriteNothing) {
  for (const DataRow& row : ReadDataTable("crypto_encrypt_refusals.tsv")) {
    store_ = std::make_shared<TestKeystore>();
    store_->AddKey("key", 1, SecureBlock(std::stoul(row["key_length"]), 0x42), row["algorithm"],
                   std::stoi(row["state"]));
    manager_->AddKeystore("ZKSystem", store_);
    meta_ = CipherMeta_t{};
    cipherText_ = {1, 2, 3};
    EXPECT_EQ(Encrypt(row["key_name"], row["keystore"], row["cipher"]), std::stoull(row["result"], nullptr, 16))
        << row.where;
    EXPECT_EQ(CipherMetaToJsonStr(meta_), "{\"cn\":\"\",\"iv\":\"\",\"v\":0}\n") << row.where;
    EXPECT_EQ(cipherText_, (std::vector<std::uint8_t>{1, 2, 3})) << row.where;
  }
}

TEST_F(KeystoreEncryption, MissingKeysAndVersionsAreRefreshedOnceThenRetried) {
  store_->AddKey("late", 1, SecureBlock(32, 0x55), kCipher, 2, true);
  ASSERT_EQ(Encrypt("late"), PXA_OK);
  EXPECT_EQ(store_->refreshFlags(), std::vector<bool>{false});
  EXPECT_EQ(store_->getKeyCalls(), 2);
  ASSERT_EQ(Encrypt(), PXA_OK);
  meta_.keyVersion = 2;
  store_->AddKey(kKeyName, 2, SecureBlock(32, 0x11), kCipher, 2, true);
  EXPECT_EQ(Decrypt(meta_), PXA_OK);
  EXPECT_EQ(store_->refreshFlags(), (std::vector<bool>{false, true}));
  store_->SetRefreshResult(16);
  const int calls = store_->getKeyCalls();
  EXPECT_EQ(Encrypt("absent"), 0x100000004ull);
  EXPECT_EQ(store_->getKeyCalls(), calls + 1) << "a failed refresh is not retried";
}

TEST_F(KeystoreEncryption, RecordThatDoesNotFitTheCallIsRefusedBeforeAnyKeystoreIsAsked) {
  ASSERT_EQ(Encrypt(), PXA_OK);
  const int calls = store_->getKeyCalls();
  CipherMeta_t noIv = meta_;
  noIv.iv.clear();
  EXPECT_EQ(Decrypt(meta_, kCipher, "other"), PXA_ERR_META_INCOMPATIBLE);
  EXPECT_EQ(Decrypt(meta_, "aes-128-cbc"), PXA_ERR_META_INCOMPATIBLE);
  EXPECT_EQ(Decrypt(noIv), PXA_ERR_META_INCOMPATIBLE);
  EXPECT_EQ(store_->getKeyCalls(), calls);
  EXPECT_EQ(plainLength_, 77U);
  EXPECT_EQ(plain_, std::vector<std::uint8_t>(cipherText_.size(), 0xCD));
}

TEST_F(KeystoreEncryption, DecryptionSearchesTheListedKeystoresByTheRules) {
  ASSERT_EQ(Encrypt(), PXA_OK);
  for (const DataRow& row : ReadDataTable("crypto_decrypt_search.tsv")) {
    auto tenant = std::make_shared<TestKeystore>();
    tenant->AddKey(kKeyName, 1, SecureBlock(32, 0x11), kCipher);
    manager_ = std::make_shared<CQVKeystoreMgr>();
    manager_->AddKeystore(row["system_name"], store_);
    manager_->AddKeystore("Initial_Tenant", tenant);
    store_->FailGetKey(std::stoi(row["system_code"]));
    tenant->FailGetKey(std::stoi(row["tenant_code"]));
    EXPECT_EQ(Decrypt(meta_), std::stoull(row["result"], nullptr, 16)) << row.where;
  }
  manager_ = std::make_shared<CQVKeystoreMgr>();
  EXPECT_EQ(Decrypt(meta_), ~PxaResult{0}) << "no keystore at all";
}

TEST_F(KeystoreEncryption, TextFormRoundTripsAndRefusesCorruptedText) {
  manager_->AddKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
  const QVCrypto engine(manager_);
  std::string text;
  ASSERT_EQ(engine.encrypt("", kCipher, kKeyName, SecureBlock(17, 0x5A), text), PXA_OK);
  EXPECT_TRUE(engine.isQVCrypto(text));
  SecureBlock plain(3, 0xEE);
  ASSERT_EQ(engine.decrypt("ZKSystem", kCipher, kKeyName, text, plain), PXA_OK);
  EXPECT_EQ(plain, SecureBlock(17, 0x5A));
  for (const char* corrupted : {"", "not base64 at all", "e30K", "eyJ2IjoxfQo="}) {
    EXPECT_EQ(engine.decrypt("", kCipher, kKeyName, corrupted, plain), PXA_ERR_CORRUPTED_DATA) << corrupted;
    EXPECT_EQ(engine.PBDecrypt(kCipher, "pw", corrupted, plain), PXA_ERR_CORRUPTED_DATA) << corrupted;
  }
  EXPECT_EQ(plain, SecureBlock(17, 0x5A));
  EXPECT_FALSE(engine.isQVCrypto("{\"v\":1}"));
}

TEST_F(KeystoreEncryption, SecureRandomGrowsCapacityButNotSizeAndNeverThrows) {
  const QVCrypto engine(manager_);
  SecureBlock empty;
  engine.generateSecureRandom(16, empty);
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_GE(empty.capacity(), 16U);
  SecureBlock sized(32, 0);
  engine.generateSecureRandom(32, sized);
  EXPECT_NE(sized, SecureBlock(32, 0));
  SecureBlock untouched(8, 0);
  EXPECT_NO_THROW(engine.generateSecureRandom(UINT64_MAX, untouched)) << "a count no block can hold";
  EXPECT_EQ(untouched, SecureBlock(8, 0));
  EXPECT_EQ(engine.base64Encode(reinterpret_cast<const std::uint8_t*>("foo"), 3), "Zm9v");
  EXPECT_EQ(engine.base64Decode("Zm9v"), (std::vector<std::uint8_t>{'f', 'o', 'o'}));
}

}  // namespace
}  // namespace QVCryptoService
