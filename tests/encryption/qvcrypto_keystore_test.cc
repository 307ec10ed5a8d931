#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto.h>

#include "tests/support/test_keystore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::TestKeystore;

constexpr PxaResult kAllOnes = ~PxaResult{0};
const std::string kCipher = "aes-256-cbc";
const std::string kKeyName = "QV_ENCYPT_DECRYPT_0";
const std::string kPlain = "secret payload";

class KeystoreEncryption : public testing::Test {
 protected:
  void SetUp() override {
    store_->AddKey(kKeyName, 1, SecureBlock(32, 0x11), kCipher);
    manager_->AddKeystore("ZKSystem", store_);
  }

  PxaResult Encrypt(const std::string& keyName = kKeyName) {
    return engine_.encrypt("", kCipher, keyName, reinterpret_cast<const std::uint8_t*>(kPlain.data()), kPlain.size(),
                           meta_, cipherText_);
  }

  PxaResult Decrypt(const CipherMeta_t& meta, const std::string& cipher = kCipher,
                    const std::string& keyName = kKeyName) {
    plain_.assign(cipherText_.size(), 0xCD);
    plainLength_ = 77;
    return engine_.decrypt("", cipher, keyName, meta, cipherText_.data(), cipherText_.size(), plain_.data(),
                           plainLength_);
  }

  std::shared_ptr<CQVKeystoreMgr> manager_ = std::make_shared<CQVKeystoreMgr>();
  std::shared_ptr<TestKeystore> store_ = std::make_shared<TestKeystore>();
  QVCrypto engine_{manager_};
  CipherMeta_t meta_;
  std::vector<std::uint8_t> cipherText_;
  std::vector<std::uint8_t> plain_;
  std::size_t plainLength_ = 0;
};

TEST_F(KeystoreEncryption, TextFormRoundTripsAroundTheBlockSize) {
  manager_->AddKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
  for (const std::size_t length : {0U, 15U, 16U, 17U}) {
    const SecureBlock plain(length, 0x5A);
    std::string text;
    ASSERT_EQ(engine_.encrypt("", kCipher, kKeyName, plain, text), PXA_OK) << length;
    EXPECT_TRUE(engine_.isQVCrypto(text));
    SecureBlock decrypted(3, 0xEE);
    ASSERT_EQ(engine_.decrypt("ZKSystem", kCipher, kKeyName, text, decrypted), PXA_OK) << length;
    EXPECT_EQ(decrypted, plain) << length;
  }
}

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
  store_->Find(kKeyName, 3)->ctl.state = 3;
  EXPECT_EQ(Encrypt(), PXA_ERR_KEY_NOT_ACTIVE);
  EXPECT_EQ(Decrypt(meta_), PXA_OK) << "an inactive key still decrypts";
}

struct EncryptRefusal {
  const char* what;
  const char* keystore;
  const char* keyName;
  const char* cipher;
  std::int32_t state;
  std::string keyAlgorithm;
  std::size_t keyLength;
  PxaResult expected;
};

TEST(KeystoreEncryptionRefusals, ReturnTheirValueAndWriteNothing) {
  const EncryptRefusal refusals[] = {
      {"unregistered keystore", "Tenant", "key", "aes-256-cbc", 2, "aes-256-cbc", 32, kAllOnes},
      {"unknown key", "", "other", "aes-256-cbc", 2, "aes-256-cbc", 32, 0x100000004ull},
      {"deactivated key", "", "key", "aes-256-cbc", 3, "aes-256-cbc", 32, PXA_ERR_KEY_NOT_ACTIVE},
      {"pre-active key", "ZKSystem", "key", "aes-256-cbc", 1, "aes-256-cbc", 32, PXA_ERR_KEY_NOT_ACTIVE},
      {"key for another cipher", "", "key", "aes-256-cbc", 2, "aes-128-cbc", 32, PXA_ERR_MISMATCHED_KEY},
      {"recorded name checked before OpenSSL", "", "key", "no-such-cipher", 2, "aes-256-cbc", 32,
       PXA_ERR_MISMATCHED_KEY},
      {"unknown cipher the key claims", "", "key", "no-such-cipher", 2, "no-such-cipher", 32,
       PXA_ERR_UNSUPPORTED_CIPHER},
      {"short key", "", "key", "aes-256-cbc", 2, "aes-256-cbc", 16, PXA_ERR_MISMATCHED_KEY}};
  for (const EncryptRefusal& c : refusals) {
    auto manager = std::make_shared<CQVKeystoreMgr>();
    auto store = std::make_shared<TestKeystore>();
    store->AddKey("key", 1, SecureBlock(c.keyLength, 0x42), c.keyAlgorithm, c.state);
    manager->AddKeystore("ZKSystem", store);
    CipherMeta_t meta;
    meta.keyName = "before";
    std::vector<std::uint8_t> out = {1, 2, 3};
    const std::uint8_t plain[4] = {1, 2, 3, 4};
    EXPECT_EQ(QVCrypto(manager).encrypt(c.keystore, c.cipher, c.keyName, plain, sizeof plain, meta, out), c.expected)
        << c.what;
    EXPECT_EQ(CipherMetaToJsonStr(meta), "{\"cn\":\"\",\"iv\":\"\",\"kn\":\"before\",\"kv\":0,\"v\":0}\n") << c.what;
    EXPECT_EQ(out, (std::vector<std::uint8_t>{1, 2, 3})) << c.what;
  }
}

TEST_F(KeystoreEncryption, MissingKeysAndVersionsAreRefreshedOnceThenRetried) {
  store_->AddKeyAfterRefresh("late", 1, SecureBlock(32, 0x55), kCipher);
  ASSERT_EQ(Encrypt("late"), PXA_OK);
  EXPECT_EQ(store_->refreshFlags(), std::vector<bool>{false});
  EXPECT_EQ(store_->getKeyCalls(), 2);
  ASSERT_EQ(Encrypt(), PXA_OK);
  meta_.keyVersion = 2;
  store_->AddKeyAfterRefresh(kKeyName, 2, SecureBlock(32, 0x11), kCipher);
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

// Decryption searches the keystores listed as "ZKSystem" and "Initial_Tenant"; only code 15 from
// a keystore other than "ZKSystem" lets the search go on. -1: the keystore serves the key.
TEST(DecryptionSearch, StopsOrMovesOnByTheRules) {
  struct Case {
    const char* what;
    const char* systemName;
    std::int32_t systemCode;
    std::int32_t tenantCode;
    PxaResult expected;
  };
  const Case cases[] = {
      {"system serves", "ZKSystem", -1, 4, PXA_OK},
      {"system corrupted ends the search", "ZKSystem", 15, -1, 0x10000000Full},
      {"system other code ends the search", "ZKSystem", 1, -1, 0x100000001ull},
      {"no system keystore, tenant corrupted", "Other", 15, 15, 0x10000000Full},
      {"no system keystore, tenant other code", "Other", 15, 1, 0x100000001ull},
      {"no system keystore, tenant serves", "Other", 15, -1, PXA_OK},
  };
  const std::uint8_t plainBytes[5] = {'h', 'e', 'l', 'l', 'o'};
  for (const Case& c : cases) {
    auto manager = std::make_shared<CQVKeystoreMgr>();
    const QVCrypto engine(manager);
    auto system = std::make_shared<TestKeystore>();
    auto tenant = std::make_shared<TestKeystore>();
    system->AddKey("key", 1, SecureBlock(32, 0x11), "aes-256-cbc");
    tenant->AddKey("key", 1, SecureBlock(32, 0x11), "aes-256-cbc");
    manager->AddKeystore("ZKSystem", system);
    CipherMeta_t meta;
    std::vector<std::uint8_t> cipherText;
    ASSERT_EQ(engine.encrypt("", "aes-256-cbc", "key", plainBytes, 5, meta, cipherText), PXA_OK);
    if (c.systemName != std::string("ZKSystem")) {
      manager = std::make_shared<CQVKeystoreMgr>();
      manager->AddKeystore(c.systemName, system);
    }
    // Keystores are looked up by the names the manager lists, which follow the count only.
    manager->AddKeystore("Initial_Tenant", tenant);
    system->FailGetKey(c.systemCode < 0 ? 0 : c.systemCode);
    tenant->FailGetKey(c.tenantCode < 0 ? 0 : c.tenantCode);
    std::vector<std::uint8_t> plain(cipherText.size());
    std::size_t plainLength = 0;
    EXPECT_EQ(QVCrypto(manager).decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), cipherText.size(),
                                        plain.data(), plainLength),
              c.expected)
        << c.what;
  }
  const QVCrypto lonely(std::make_shared<CQVKeystoreMgr>());
  CipherMeta_t meta;
  std::vector<std::uint8_t> plain(16);
  std::size_t plainLength = 0;
  ASSERT_TRUE(CipherMetaFromJsonStr(
      "{\"cn\":\"aes-256-cbc\",\"iv\":\"AAAAAAAAAAAAAAAAAAAAAA==\",\"kn\":\"key\",\"kv\":1,\"v\":1}", meta));
  EXPECT_EQ(lonely.decrypt("", "aes-256-cbc", "key", meta, plain.data(), 16, plain.data(), plainLength), kAllOnes);
}

TEST_F(KeystoreEncryption, CorruptedTextGivesFiveAndLeavesOutputAlone) {
  SecureBlock plain(4, 0x77);
  for (const char* text : {"", "not base64 at all", "e30K", "eyJ2IjoxfQo="}) {
    EXPECT_EQ(engine_.decrypt("", kCipher, kKeyName, text, plain), PXA_ERR_CORRUPTED_DATA) << text;
    EXPECT_EQ(engine_.PBDecrypt(kCipher, "pw", text, plain), PXA_ERR_CORRUPTED_DATA) << text;
  }
  EXPECT_EQ(plain, SecureBlock(4, 0x77));
  EXPECT_FALSE(engine_.isQVCrypto("{\"v\":1}"));
}

TEST_F(KeystoreEncryption, SecureRandomGrowsCapacityButNotSize) {
  SecureBlock empty;
  engine_.generateSecureRandom(16, empty);
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_GE(empty.capacity(), 16U);
  SecureBlock sized(32, 0);
  engine_.generateSecureRandom(32, sized);
  EXPECT_NE(sized, SecureBlock(32, 0));
  // A count no block can hold leaves the block alone instead of throwing out of the engine.
  SecureBlock untouched(8, 0);
  EXPECT_NO_THROW(engine_.generateSecureRandom(UINT64_MAX, untouched));
  EXPECT_EQ(untouched, SecureBlock(8, 0));
  EXPECT_EQ(engine_.base64Encode(reinterpret_cast<const std::uint8_t*>("foo"), 3), "Zm9v");
  EXPECT_EQ(engine_.base64Decode("Zm9v"), (std::vector<std::uint8_t>{'f', 'o', 'o'}));
}

}  // namespace
}  // namespace QVCryptoService
