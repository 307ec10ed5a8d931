#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvsigning.h>

#include "tests/support/test_keystore.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::FromHex;
using testsupport::TestKeystore;

constexpr PxaResult kAllOnes = ~PxaResult{0};
const std::string kKey = "QV_HMAC_INTEGRITY_0";
const std::string kData = "message to sign";
const auto* kBytes = reinterpret_cast<const std::uint8_t*>(kData.data());

class Signing : public testing::Test {
 protected:
  void SetUp() override {
    manager_ = std::make_shared<CQVKeystoreMgr>();
    store_ = std::make_shared<TestKeystore>();
    store_->AddKey(kKey, 1, SecureBlock(32, 0x21), "sha256");
    manager_->AddKeystore("ZKSystem", store_);
    engine_ = std::make_unique<QVSigning>(manager_);
  }
  std::shared_ptr<CQVKeystoreMgr> manager_;
  std::shared_ptr<TestKeystore> store_;
  std::unique_ptr<QVSigning> engine_;
};

TEST_F(Signing, TextAndRecordFormsValidate) {
  std::string text;
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), text), PXA_OK);
  EXPECT_TRUE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), text));
  SigningData_t record;
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), record), PXA_OK);
  EXPECT_EQ(record.version, 1U);
  EXPECT_EQ(record.digestName, "sha256");
  EXPECT_EQ(record.keyName, kKey);
  EXPECT_EQ(record.keyVersion, 1);
  EXPECT_EQ(record.hmac.size(), 32U);
  EXPECT_TRUE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), record));
  EXPECT_EQ(SerializeSigningData(record), text) << "HMACs are deterministic";
}

TEST_F(Signing, RecordsMadeBeforeARotationStillValidate) {
  SigningData_t before;
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), before), PXA_OK);
  store_->AddKey(kKey, 2, SecureBlock(32, 0x22), "sha256");
  SigningData_t after;
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), after), PXA_OK);
  EXPECT_EQ(after.keyVersion, 2);
  EXPECT_NE(after.hmac, before.hmac);
  EXPECT_TRUE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), before));
  EXPECT_TRUE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), after));
  EXPECT_EQ(store_->requestedVersions().back(), 2);
  SigningData_t claimsOldVersion = after;
  claimsOldVersion.keyVersion = 1;
  EXPECT_FALSE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), claimsOldVersion));
}

TEST_F(Signing, ValidationRefusesEveryChange) {
  SigningData_t record;
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), record), PXA_OK);
  std::string changed = kData;
  changed.back() ^= 0x01;
  EXPECT_FALSE(engine_->validateHMAC("sha256", kKey, reinterpret_cast<const std::uint8_t*>(changed.data()),
                                     changed.size(), record));
  for (std::size_t i = 0; i < record.hmac.size(); ++i) {
    SigningData_t flipped = record;
    flipped.hmac[i] ^= 0x04;
    EXPECT_FALSE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), flipped)) << i;
  }
  // Another output length fails; the record's digest name is not what decides.
  EXPECT_FALSE(engine_->validateHMAC("sha512", kKey, kBytes, kData.size(), record));
  SigningData_t otherName = record;
  otherName.digestName = "md5";
  EXPECT_TRUE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), otherName));
  const int calls = store_->getKeyCalls();
  EXPECT_FALSE(engine_->validateHMAC("sha256", "OTHER_KEY", kBytes, kData.size(), record));
  EXPECT_EQ(store_->getKeyCalls(), calls) << "a key-name mismatch must not reach the keystore";
  EXPECT_FALSE(engine_->validateHMAC("sha256", kKey, kBytes, kData.size(), std::string("garbage")));
}

TEST_F(Signing, FailuresReturnTheirValuesAndLeaveOutputsAlone) {
  std::string text = "untouched";
  SigningData_t record;
  record.keyName = "kept";
  EXPECT_EQ(engine_->generateHMAC("sha256", "UNKNOWN", kBytes, kData.size(), text), 0x100000004ull);
  EXPECT_EQ(engine_->generateHMAC("sha-what", kKey, kBytes, kData.size(), record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, std::uint64_t{1} << 32, text), PXA_ERR_INVALID_ARGUMENTS);
  store_->FailGetKey(1);
  EXPECT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), record), 0x100000001ull);
  EXPECT_TRUE(store_->refreshFlags().empty()) << "signing does not ask the keystore to refresh";
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(record.keyName, "kept");
  const QVSigning lonely(std::make_shared<CQVKeystoreMgr>());
  EXPECT_EQ(lonely.generateHMAC("sha256", kKey, kBytes, kData.size(), text), kAllOnes);
  SigningData_t valid;
  store_->FailGetKey(0);
  ASSERT_EQ(engine_->generateHMAC("sha256", kKey, kBytes, kData.size(), valid), PXA_OK);
  EXPECT_FALSE(lonely.validateHMAC("sha256", kKey, kBytes, kData.size(), valid));
}

TEST(SigningVectors, AgreeWithWycheproofHmacSha256WhenTheKeystoreServesTheKey) {
  const testsupport::JsonNode file = testsupport::LoadWycheproof("hmac_sha256_test.json");
  int valid = 0;
  int invalid = 0;
  for (const testsupport::JsonNode& group : file["testGroups"].items) {
    const auto tagBytes = static_cast<std::size_t>(group["tagSize"].AsInt() / 8);
    for (const testsupport::JsonNode& test : group["tests"].items) {
      const auto key = FromHex(test["key"].text);
      const auto msg = FromHex(test["msg"].text);
      auto manager = std::make_shared<CQVKeystoreMgr>();
      auto store = std::make_shared<TestKeystore>();
      store->AddKey("vector-key", 1, SecureBlock(key.begin(), key.end()), "sha256");
      manager->AddKeystore("ZKSystem", store);
      const QVSigning engine(manager);
      SigningData_t record;
      ASSERT_EQ(engine.generateHMAC("sha256", "vector-key", msg.data(), msg.size(), record), PXA_OK);
      // Truncated (128-bit) tags are compared on the HMAC's leading bytes; through the engine
      // only full-length tags can validate, since a record's HMAC must have the full length.
      const std::vector<std::uint8_t> tag = FromHex(test["tag"].text);
      const bool matches = tag.size() == tagBytes && tag.size() <= record.hmac.size() &&
                           std::equal(tag.begin(), tag.end(), record.hmac.begin());
      SigningData_t fromVector = record;
      fromVector.hmac = tag;
      const bool engineAccepts = engine.validateHMAC("sha256", "vector-key", msg.data(), msg.size(), fromVector);
      if (test["result"].text == "valid") {
        EXPECT_TRUE(matches) << test["tcId"].AsInt();
        EXPECT_EQ(engineAccepts, tagBytes == 32) << test["tcId"].AsInt();
        ++valid;
      } else {
        EXPECT_FALSE(matches) << test["tcId"].AsInt();
        EXPECT_FALSE(engineAccepts) << test["tcId"].AsInt();
        ++invalid;
      }
    }
  }
  std::cout << "wycheproof HMAC-SHA256 through QVSigning: " << valid << " valid, " << invalid << " invalid"
            << std::endl;
  EXPECT_EQ(valid + invalid, file["numberOfTests"].AsInt());
}

TEST(SigningWithStaticKeystore, RoundTrip) {
  auto manager = std::make_shared<CQVKeystoreMgr>();
  manager->AddKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
  const QVSigning engine(manager);
  std::string text;
  ASSERT_EQ(engine.generateHMAC("sha256", kKey, kBytes, kData.size(), text), PXA_OK);
  EXPECT_TRUE(engine.validateHMAC("sha256", kKey, kBytes, kData.size(), text));
}

}  // namespace
}  // namespace QVCryptoService
