#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvsigning.h>

#include "tests/support/data_table.h"
#include "tests/support/test_keystore.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::TestKeystore;

const std::string kKey = "QV_HMAC_INTEGRITY_0";
const std::string kData = "message to sign";
const auto* kBytes = reinterpret_cast<const std::uint8_t*>(kData.data());

class Signing : public testing::Test {
 protected:
  void SetUp() override {
    store_->AddKey(kKey, 1, SecureBlock(32, 0x21), "sha256");
    manager_->AddKeystore("ZKSystem", store_);
  }
  bool Validate(const SigningData_t& record, const std::string& digest = "sha256", const std::string& key = kKey) {
    return engine_.validateHMAC(digest, key, kBytes, kData.size(), record);
  }
  std::shared_ptr<CQVKeystoreMgr> manager_ = std::make_shared<CQVKeystoreMgr>();
  std::shared_ptr<TestKeystore> store_ = std::make_shared<TestKeystore>();
  QVSigning engine_{manager_};
};

// Each row's key is the next version of this key: records made before a rotation still validate.
TEST_F(Signing, HmacsAreKnownAnswersUnderEachVersionOfTheKey) {
  std::vector<SigningData_t> records;
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_hmac.tsv")) {
    const auto version = static_cast<std::int32_t>(records.size() + 1);
    store_->AddKey(kKey, version, SecureBlock(row["key"].begin(), row["key"].end()), "sha256");
    const auto* data = reinterpret_cast<const std::uint8_t*>(row["data"].data());
    SigningData_t& record = records.emplace_back();
    ASSERT_EQ(engine_.generateHMAC("sha256", kKey, data, row["data"].size(), record), PXA_OK) << row.where;
    EXPECT_EQ(testsupport::ToHex(record.hmac), row["hmac"]) << row.where;
    EXPECT_TRUE(record.version == 1 && record.digestName == "sha256" && record.keyName == kKey &&
                record.keyVersion == version);
    std::string text;
    ASSERT_EQ(engine_.generateHMAC("sha256", kKey, data, row["data"].size(), text), PXA_OK);
    EXPECT_EQ(text, SerializeSigningData(record));
    EXPECT_TRUE(engine_.validateHMAC("sha256", kKey, data, row["data"].size(), text));
  }
  ASSERT_GE(records.size(), 2U);
  EXPECT_TRUE(Validate(records[0])) << "made with version 1 over this data";
  EXPECT_EQ(store_->requestedVersions().back(), 1) << "validation asks for the recorded version";
  records[1].keyVersion = 1;
  EXPECT_FALSE(Validate(records[1]));
}

TEST_F(Signing, ValidationRefusesEveryChange) {
  SigningData_t record;
  ASSERT_EQ(engine_.generateHMAC("sha256", kKey, kBytes, kData.size(), record), PXA_OK);
  const std::string changed = kData + ".";
  EXPECT_FALSE(engine_.validateHMAC("sha256", kKey, reinterpret_cast<const std::uint8_t*>(changed.data()),
                                    changed.size(), record));
  SigningData_t flipped = record;
  flipped.hmac[31] ^= 0x04;
  EXPECT_FALSE(Validate(flipped));
  SigningData_t truncated = record;
  truncated.hmac.resize(16);
  EXPECT_FALSE(Validate(truncated)) << "only a full-length HMAC validates";
  EXPECT_FALSE(Validate(record, "sha512"));
  SigningData_t otherName = record;
  otherName.digestName = "md5";
  EXPECT_TRUE(Validate(otherName)) << "the caller's digest name decides, not the record's";
  const int calls = store_->getKeyCalls();
  EXPECT_FALSE(Validate(record, "sha256", "OTHER_KEY"));
  EXPECT_EQ(store_->getKeyCalls(), calls) << "a key-name mismatch must not reach the keystore";
  EXPECT_FALSE(engine_.validateHMAC("sha256", kKey, kBytes, kData.size(), std::string("garbage")));
}

TEST_F(Signing, FailuresReturnTheirValuesAndLeaveOutputsAlone) {
  std::string text = "untouched";
  SigningData_t record;
  record.keyName = "kept";
  EXPECT_EQ(engine_.generateHMAC("sha256", "UNKNOWN", kBytes, kData.size(), text), 0x100000004ull);
  EXPECT_EQ(engine_.generateHMAC("sha-what", kKey, kBytes, kData.size(), record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine_.generateHMAC("sha256", kKey, kBytes, std::uint64_t{1} << 32, text), PXA_ERR_INVALID_ARGUMENTS);
  store_->FailGetKey(1);
  EXPECT_EQ(engine_.generateHMAC("sha256", kKey, kBytes, kData.size(), record), 0x100000001ull);
  EXPECT_TRUE(store_->refreshFlags().empty()) << "signing does not ask the keystore to refresh";
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(record.keyName, "kept");
  const QVSigning lonely(std::make_shared<CQVKeystoreMgr>());
  EXPECT_EQ(lonely.generateHMAC("sha256", kKey, kBytes, kData.size(), text), ~PxaResult{0});
  store_->FailGetKey(0);
  ASSERT_EQ(engine_.generateHMAC("sha256", kKey, kBytes, kData.size(), record), PXA_OK);
  EXPECT_FALSE(lonely.validateHMAC("sha256", kKey, kBytes, kData.size(), record));
}

}  // namespace
}  // namespace QVCryptoService
