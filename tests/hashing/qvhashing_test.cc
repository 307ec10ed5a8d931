#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/qvhashing.h>

#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <string>

namespace QVCryptoService {
namespace {

using testsupport::DataRow;
using testsupport::ReadDataTable;

const std::string kData = "the data to protect";
const auto* kBytes = reinterpret_cast<const std::uint8_t*>(kData.data());

bool Validate(const QVHashing& engine, const std::string& kind, const std::string& digest, const std::string& input,
              const HashingData_t& record) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(input.data());
  if (kind == "digest") {
    return engine.validateDigest(digest, bytes, input.size(), record);
  }
  if (kind == "checksum") {
    return engine.validateCheckSum(digest, bytes, input.size(), record);
  }
  return engine.validatePasswordHash(digest, input, record);
}

TEST(HashingValidation, KnownRecordsValidateOrNot) {
  const QVHashing engine;
  for (const DataRow& row : ReadDataTable("hashing_validation.tsv")) {
    HashingData_t record;
    ASSERT_TRUE(HashingDataFromJsonStr(record, row["record"])) << row.where;
    EXPECT_EQ(Validate(engine, row["kind"], row["digest"], row["input"], record), row["valid"] == "1")
        << row.where << ": " << row["case"];
  }
}

// What the generators make validates (the validators are pinned by the known records above);
// salts are fresh, checksums reproducible.
TEST(HashingGeneration, RecordsOfEachKindValidateInBothForms) {
  const QVHashing engine;
  HashingData_t digest;
  HashingData_t checksum;
  HashingData_t password;
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), digest), PXA_OK);
  ASSERT_EQ(engine.generateCheckSum("sha256", kBytes, kData.size(), checksum), PXA_OK);
  ASSERT_EQ(engine.generatePasswordHash("sha256", std::string("secret\0ignored", 14), password), PXA_OK);
  EXPECT_TRUE(digest.version == 1 && digest.iterations == 0 && digest.salt.size() == 16 && digest.digest.size() == 32);
  EXPECT_TRUE(checksum.version == 1 && checksum.salt.empty() && checksum.digest.size() == 32);
  EXPECT_TRUE(password.iterations == 10000 && password.salt.size() == 16 && password.digest.size() == 32);
  for (const auto& [kind, record, input] :
       {std::tuple{"digest", &digest, kData}, std::tuple{"checksum", &checksum, kData},
        std::tuple{"password", &password, std::string("secret")}}) {
    EXPECT_TRUE(Validate(engine, kind, "sha256", input, *record)) << kind;
  }
  std::string texts[3];
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), texts[0]), PXA_OK);
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), texts[1]), PXA_OK);
  EXPECT_NE(texts[0], texts[1]) << "a fresh salt every time";
  EXPECT_TRUE(engine.validateDigest("sha256", kBytes, kData.size(), texts[1]));
  ASSERT_EQ(engine.generateCheckSum("sha256", kBytes, kData.size(), texts[2]), PXA_OK);
  EXPECT_EQ(texts[2], SerializeHashingData(checksum)) << "checksums are reproducible";
  EXPECT_FALSE(engine.validatePasswordHash("sha256", "secret", "not a record"));
}

TEST(HashingGeneration, RefusalsLeaveOutputsAlone) {
  const QVHashing engine;
  std::string text = "untouched";
  HashingData_t record;
  record.digestName = "kept";
  EXPECT_EQ(engine.generateDigest("sha-what", kBytes, kData.size(), text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateCheckSum("sha-what", kBytes, kData.size(), record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generatePasswordHash("sha-what", "pw", record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateDerivedKey("sha-what", "pw", text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateDerivedKey("sha256", "", text), PXA_ERR_INVALID_ARGUMENTS) << "empty password";
  EXPECT_EQ(engine.generateCheckSum("sha256", kBytes, std::uint64_t{1} << 31, text), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(record.digestName, "kept");
}

// The one-call function is the engine's under SHA-256.
TEST(HashingGeneration, DerivedKeysAreKnownAnswers) {
  const QVHashing engine;
  for (const DataRow& row : ReadDataTable("hashing_derived_keys.tsv")) {
    std::string key;
    ASSERT_EQ(engine.generateDerivedKey("sha256", row["password"], key), PXA_OK) << row.where;
    EXPECT_EQ(key, row["key"]) << row.where;
    ASSERT_EQ(CreateDerivedKey(row["password"], key), PXA_OK) << row.where;
    EXPECT_EQ(key, row["key"]) << row.where;
  }
}

}  // namespace
}  // namespace QVCryptoService
