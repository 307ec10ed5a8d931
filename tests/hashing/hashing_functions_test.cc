#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvpax.h>

#include "tests/support/data_table.h"
#include "tests/support/test_keystore.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace QVCryptoService {
namespace {

std::string Serialized(const std::string& recordText) {
  return base64_encode(reinterpret_cast<const unsigned char*>(recordText.data()),
                       static_cast<std::uint32_t>(recordText.size()));
}

// The one-call verifiers are the engine's validators under SHA-256.
TEST(OneCallHashing, VerifiersAnswerForKnownRecords) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_validation.tsv")) {
    if (row["digest"] != "sha256") {
      continue;
    }
    const std::string& input = row["input"];
    const std::string record = Serialized(row["record"]);
    const bool verified = row["kind"] == "digest"     ? VerifyDigest(input, record)
                          : row["kind"] == "checksum" ? VerifyChecksum(input, record)
                                                      : VerifyPasswordHash(input, record);
    EXPECT_EQ(verified, row["valid"] == "1") << row.where;
  }
}

TEST(OneCallHashing, HmacUsesTheSystemKeystoresIntegrityKey) {
  ASSERT_TRUE(InitLibrary());
  std::string hmac = "untouched";
  EXPECT_EQ(CreateHMAC("message to sign", hmac), ~PxaResult{0}) << "no keystore is registered by default";
  EXPECT_FALSE(VerifyHMAC("message to sign", "anything"));
  EXPECT_EQ(hmac, "untouched");
  const auto store = std::make_shared<testsupport::TestKeystore>();
  store->AddKey("QV_HMAC_INTEGRITY_0", 1, SecureBlock(32, 0x21), "sha256");
  ASSERT_TRUE(SetKeystore("ZKSystem", store));
  ASSERT_EQ(CreateHMAC("message to sign", hmac), PXA_OK);
  SigningData_t record;
  ASSERT_TRUE(DeserializeSigningData(record, hmac));
  EXPECT_EQ(record.keyName, "QV_HMAC_INTEGRITY_0");
  EXPECT_EQ(testsupport::ToHex(record.hmac), testsupport::ReadDataTable("hashing_hmac.tsv")[0]["hmac"]);
  store->AddKey("QV_HMAC_INTEGRITY_0", 2, SecureBlock(32, 0x22), "sha256");
  EXPECT_TRUE(VerifyHMAC("message to sign", hmac)) << "made with version 1, still served";
  EXPECT_FALSE(VerifyHMAC("message to sign.", hmac));
}

TEST(OneCallHashing, DerivedKeysAreTheEnginesUnderSha256) {
  const testsupport::DataRow row = testsupport::ReadDataTable("hashing_derived_keys.tsv")[0];
  std::string key;
  ASSERT_EQ(CreateDerivedKey(row["password"], key), PXA_OK);
  EXPECT_EQ(key, row["key"]);
}

}  // namespace
}  // namespace QVCryptoService
