#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/primitives.h>
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

class KeystoreEncryption : public testing::Test {
 protected:
  void SetUp() override {
    manager_ = std::make_shared<CQVKeystoreMgr>();
    engine_ = std::make_unique<QVCrypto>(manager_);
    store_ = std::make_shared<TestKeystore>();
    store_->AddKey(kKeyName, 1, SecureBlock(32, 0x11), kCipher);
    manager_->AddKeystore("ZKSystem", store_);
  }

  PxaResult EncryptRaw(const std::string& keystore, const std::string& keyName, CipherMeta_t& meta,
                       std::vector<std::uint8_t>& out, const std::string& cipher = kCipher) {
    const std::string plain = "secret payload";
    return engine_->encrypt(keystore, cipher, keyName, reinterpret_cast<const std::uint8_t*>(plain.data()),
                            plain.size(), meta, out);
  }

  std::shared_ptr<CQVKeystoreMgr> manager_;
  std::unique_ptr<QVCrypto> engine_;
  std::shared_ptr<TestKeystore> store_;
};

TEST_F(KeystoreEncryption, BlockAndTextFormsRoundTripWithTheStaticKeystore) {
  manager_->AddKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
  for (const std::size_t length : {0U, 1U, 15U, 16U, 17U, 1000U}) {
    SecureBlock plain(length);
    for (std::size_t i = 0; i < length; ++i) {
      plain[i] = static_cast<std::uint8_t>(i * 13);
    }
    std::string text;
    ASSERT_EQ(engine_->encrypt("", kCipher, kKeyName, plain, text), PXA_OK) << length;
    EXPECT_TRUE(engine_->isQVCrypto(text));
    SecureBlock decrypted(3, 0xEE);
    ASSERT_EQ(engine_->decrypt("ZKSystem", kCipher, kKeyName, text, decrypted), PXA_OK) << length;
    EXPECT_EQ(decrypted, plain) << length;
  }
}

TEST_F(KeystoreEncryption, RawFormFillsTheRecord) {
  store_->AddKey(kKeyName, 3, SecureBlock(32, 0x33), kCipher);
  CipherMeta_t meta;
  meta.salt = {9, 9};
  std::vector<std::uint8_t> out;
  ASSERT_EQ(EncryptRaw("", kKeyName, meta, out), PXA_OK);
  EXPECT_EQ(meta.version, 1);
  EXPECT_EQ(meta.cipherName, kCipher);
  EXPECT_EQ(meta.iv.size(), 16U);
  EXPECT_EQ(meta.keyName, kKeyName);
  EXPECT_EQ(meta.keyVersion, 3) << "the current version is recorded";
  EXPECT_EQ(meta.salt, (std::vector<std::uint8_t>{9, 9})) << "members the engine does not write stay";
  EXPECT_EQ(out.size(), 16U);
  std::vector<std::uint8_t> plain(out.size());
  std::size_t plainLength = 0;
  ASSERT_EQ(engine_->decrypt("ignored", kCipher, kKeyName, meta, out.data(), out.size(), plain.data(), plainLength),
            PXA_OK);
  EXPECT_EQ(std::string(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(plainLength)), "secret payload");
  EXPECT_EQ(store_->requestedVersions().back(), 3) << "decryption asks for the recorded version";
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

class EncryptRefusals : public testing::TestWithParam<EncryptRefusal> {};

TEST_P(EncryptRefusals, ReturnTheirValueAndWriteNothing) {
  const EncryptRefusal& c = GetParam();
  auto manager = std::make_shared<CQVKeystoreMgr>();
  auto store = std::make_shared<TestKeystore>();
  store->AddKey("key", 1, SecureBlock(c.keyLength, 0x42), c.keyAlgorithm, c.state);
  manager->AddKeystore("ZKSystem", store);
  const QVCrypto engine(manager);
  CipherMeta_t meta;
  meta.keyName = "before";
  std::vector<std::uint8_t> out = {1, 2, 3};
  const std::uint8_t plain[4] = {1, 2, 3, 4};
  EXPECT_EQ(engine.encrypt(c.keystore, c.cipher, c.keyName, plain, sizeof plain, meta, out), c.expected) << c.what;
  EXPECT_EQ(meta.keyName, "before") << c.what;
  EXPECT_EQ(meta.version, 0) << c.what;
  EXPECT_EQ(out, (std::vector<std::uint8_t>{1, 2, 3})) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Engine, EncryptRefusals,
    testing::Values(
        EncryptRefusal{"unregistered keystore", "Tenant", "key", "aes-256-cbc", 2, "aes-256-cbc", 32, kAllOnes},
        EncryptRefusal{"unknown key", "", "other", "aes-256-cbc", 2, "aes-256-cbc", 32, 0x100000004ull},
        EncryptRefusal{"deactivated key", "", "key", "aes-256-cbc", 3, "aes-256-cbc", 32, PXA_ERR_KEY_NOT_ACTIVE},
        EncryptRefusal{"pre-active key", "ZKSystem", "key", "aes-256-cbc", 1, "aes-256-cbc", 32,
                       PXA_ERR_KEY_NOT_ACTIVE},
        EncryptRefusal{"key for another cipher", "", "key", "aes-256-cbc", 2, "aes-128-cbc", 32,
                       PXA_ERR_MISMATCHED_KEY},
        EncryptRefusal{"recorded name checked before OpenSSL", "", "key", "no-such-cipher", 2, "aes-256-cbc", 32,
                       PXA_ERR_MISMATCHED_KEY},
        EncryptRefusal{"unknown cipher the key claims", "", "key", "no-such-cipher", 2, "no-such-cipher", 32,
                       PXA_ERR_UNSUPPORTED_CIPHER},
        EncryptRefusal{"short key", "", "key", "aes-256-cbc", 2, "aes-256-cbc", 16, PXA_ERR_MISMATCHED_KEY}));

TEST_F(KeystoreEncryption, MissingKeyIsRefreshedOnceThenRetried) {
  store_->AddKeyAfterRefresh("late", 1, SecureBlock(32, 0x55), kCipher);
  CipherMeta_t meta;
  std::vector<std::uint8_t> out;
  ASSERT_EQ(EncryptRaw("", "late", meta, out), PXA_OK);
  EXPECT_EQ(store_->refreshFlags(), std::vector<bool>{false});
  EXPECT_EQ(store_->getKeyCalls(), 2);
}

TEST_F(KeystoreEncryption, MissingVersionIsRefreshedWithTheFlagSet) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> out;
  ASSERT_EQ(EncryptRaw("", kKeyName, meta, out), PXA_OK);
  meta.keyVersion = 2;
  store_->AddKeyAfterRefresh(kKeyName, 2, SecureBlock(32, 0x11), kCipher);
  std::vector<std::uint8_t> plain(out.size());
  std::size_t plainLength = 0;
  EXPECT_EQ(engine_->decrypt("", kCipher, kKeyName, meta, out.data(), out.size(), plain.data(), plainLength), PXA_OK);
  EXPECT_EQ(store_->refreshFlags(), std::vector<bool>{true});
}

TEST_F(KeystoreEncryption, FailedRefreshIsNotRetried) {
  store_->SetRefreshResult(16);
  CipherMeta_t meta;
  std::vector<std::uint8_t> out;
  EXPECT_EQ(EncryptRaw("", "absent", meta, out), 0x100000004ull);
  EXPECT_EQ(store_->getKeyCalls(), 1);
  EXPECT_EQ(store_->refreshFlags().size(), 1U);
}

TEST_F(KeystoreEncryption, InactiveKeyRefusesEncryptionButStillDecrypts) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> out;
  ASSERT_EQ(EncryptRaw("", kKeyName, meta, out), PXA_OK);
  store_->Find(kKeyName, 1)->ctl.state = 3;
  CipherMeta_t refused;
  std::vector<std::uint8_t> refusedOut;
  EXPECT_EQ(EncryptRaw("", kKeyName, refused, refusedOut), PXA_ERR_KEY_NOT_ACTIVE);
  std::vector<std::uint8_t> plain(out.size());
  std::size_t plainLength = 0;
  EXPECT_EQ(engine_->decrypt("", kCipher, kKeyName, meta, out.data(), out.size(), plain.data(), plainLength), PXA_OK);
  EXPECT_EQ(plainLength, 14U);
}

TEST_F(KeystoreEncryption, RecordThatDoesNotFitTheCallIsRefusedWithSix) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> out;
  ASSERT_EQ(EncryptRaw("", kKeyName, meta, out), PXA_OK);
  std::vector<std::uint8_t> plain(out.size(), 0xCD);
  std::size_t plainLength = 77;
  const int callsBefore = store_->getKeyCalls();
  EXPECT_EQ(engine_->decrypt("", kCipher, "other", meta, out.data(), out.size(), plain.data(), plainLength),
            PXA_ERR_META_INCOMPATIBLE);
  EXPECT_EQ(engine_->decrypt("", "aes-128-cbc", kKeyName, meta, out.data(), out.size(), plain.data(), plainLength),
            PXA_ERR_META_INCOMPATIBLE);
  CipherMeta_t noIv = meta;
  noIv.iv.clear();
  EXPECT_EQ(engine_->decrypt("", kCipher, kKeyName, noIv, out.data(), out.size(), plain.data(), plainLength),
            PXA_ERR_META_INCOMPATIBLE);
  EXPECT_EQ(store_->getKeyCalls(), callsBefore) << "refused before any keystore is asked";
  EXPECT_EQ(plainLength, 77U);
  EXPECT_EQ(plain, std::vector<std::uint8_t>(out.size(), 0xCD));
}

// Decryption searches "ZKSystem" and then "Initial_Tenant"; only code 15 from a keystore other
// than "ZKSystem" lets the search go on.
struct SearchCase {
  const char* what;
  std::int32_t systemCode;  // -1: the system keystore serves the key
  std::int32_t tenantCode;  // -1: the tenant keystore serves the key
  bool registerTenant;
  PxaResult expected;
};

class DecryptionSearch : public testing::TestWithParam<SearchCase> {};

TEST_P(DecryptionSearch, StopsOrMovesOnByTheRules) {
  const SearchCase& c = GetParam();
  auto manager = std::make_shared<CQVKeystoreMgr>();
  const QVCrypto engine(manager);
  auto system = std::make_shared<TestKeystore>();
  system->AddKey("key", 1, SecureBlock(32, 0x11), "aes-256-cbc");
  manager->AddKeystore("ZKSystem", system);
  CipherMeta_t meta;
  std::vector<std::uint8_t> cipherText;
  const std::uint8_t plainBytes[5] = {'h', 'e', 'l', 'l', 'o'};
  ASSERT_EQ(engine.encrypt("", "aes-256-cbc", "key", plainBytes, 5, meta, cipherText), PXA_OK);
  if (c.systemCode >= 0) {
    system->FailGetKey(c.systemCode);
  }
  auto tenant = std::make_shared<TestKeystore>();
  tenant->AddKey("key", 1, SecureBlock(32, 0x11), "aes-256-cbc");
  if (c.tenantCode >= 0) {
    tenant->FailGetKey(c.tenantCode);
  }
  // Decryption looks keystores up by the names the manager lists, not by registration name.
  if (c.registerTenant) {
    manager->AddKeystore("Initial_Tenant", tenant);
  } else {
    manager->AddKeystore("Somebody", tenant);
  }
  std::vector<std::uint8_t> plain(cipherText.size());
  std::size_t plainLength = 0;
  EXPECT_EQ(
      engine.decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), cipherText.size(), plain.data(), plainLength),
      c.expected)
      << c.what;
}

INSTANTIATE_TEST_SUITE_P(Engine, DecryptionSearch,
                         testing::Values(SearchCase{"system serves", -1, 4, true, PXA_OK},
                                         SearchCase{"system corrupted ends the search", 15, -1, true, 0x10000000Full},
                                         SearchCase{"system other code ends the search", 1, -1, true, 0x100000001ull},
                                         SearchCase{"tenant not asked when the system serves", -1, 15, true, PXA_OK},
                                         SearchCase{"registered under another name changes nothing", 12, -1, false,
                                                    0x10000000Cull}));

TEST(DecryptionSearchOrder, CorruptedOutsideTheSystemKeystoreMovesOn) {
  // Only "Initial_Tenant" registered under that name, and a third keystore so it is listed.
  auto manager = std::make_shared<CQVKeystoreMgr>();
  const QVCrypto engine(manager);
  auto tenant = std::make_shared<TestKeystore>();
  tenant->AddKey("key", 1, SecureBlock(32, 0x11), "aes-256-cbc");
  manager->AddKeystore("Initial_Tenant", tenant);
  manager->AddKeystore("Other", std::make_shared<TestKeystore>());
  CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  meta.keyName = "key";
  meta.keyVersion = 1;
  meta.iv.assign(16, 0);
  std::vector<std::uint8_t> cipherText(16, 0);
  std::vector<std::uint8_t> plain(16);
  std::size_t plainLength = 0;
  // "ZKSystem" is not registered: remembered as all-ones, then the tenant is asked.
  tenant->FailGetKey(15);
  EXPECT_EQ(engine.decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), 16, plain.data(), plainLength),
            0x10000000Full)
      << "every keystore searched answered corrupted";
  tenant->FailGetKey(1);
  EXPECT_EQ(engine.decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), 16, plain.data(), plainLength),
            0x100000001ull)
      << "any other code is reported as it is";
  tenant->FailGetKey(0);
  const PxaResult served =
      engine.decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), 16, plain.data(), plainLength);
  EXPECT_EQ(served >> 32, PXA_FAMILY_OPENSSL) << "the key was found; only the made-up cipher text fails";
  // Nothing registered at all.
  const QVCrypto lonely(std::make_shared<CQVKeystoreMgr>());
  EXPECT_EQ(lonely.decrypt("", "aes-256-cbc", "key", meta, cipherText.data(), 16, plain.data(), plainLength), kAllOnes);
}

TEST_F(KeystoreEncryption, CorruptedTextGivesFiveAndLeavesOutputAlone) {
  SecureBlock plain(4, 0x77);
  for (const char* text : {"", "not base64 at all", "e30K", "eyJ2IjoxfQo="}) {
    EXPECT_EQ(engine_->decrypt("", kCipher, kKeyName, text, plain), PXA_ERR_CORRUPTED_DATA) << text;
    EXPECT_EQ(engine_->PBDecrypt(kCipher, "pw", text, plain), PXA_ERR_CORRUPTED_DATA) << text;
  }
  EXPECT_EQ(plain, SecureBlock(4, 0x77));
  EXPECT_FALSE(engine_->isQVCrypto("{\"v\":1}"));
}

TEST(SecureRandom, GrowsCapacityButNotSize) {
  const QVCrypto engine(std::make_shared<CQVKeystoreMgr>());
  SecureBlock empty;
  engine.generateSecureRandom(16, empty);
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_GE(empty.capacity(), 16U);
  SecureBlock sized(32, 0);
  engine.generateSecureRandom(32, sized);
  EXPECT_NE(sized, SecureBlock(32, 0));
  // A count no block can hold leaves the block alone instead of throwing out of the engine.
  SecureBlock untouched(8, 0);
  EXPECT_NO_THROW(engine.generateSecureRandom(UINT64_MAX, untouched));
  EXPECT_EQ(untouched, SecureBlock(8, 0));
  EXPECT_EQ(engine.base64Encode(reinterpret_cast<const std::uint8_t*>("foo"), 3), "Zm9v");
  EXPECT_EQ(engine.base64Decode("Zm9v"), (std::vector<std::uint8_t>{'f', 'o', 'o'}));
}

}  // namespace
}  // namespace QVCryptoService
