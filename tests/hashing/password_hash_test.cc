#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvhashing.h>

#include "hashing/argon2_kdf.h"
#include "hashing/argon2_record.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

std::vector<std::uint8_t> Bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::uint32_t Number(const std::string& field) { return static_cast<std::uint32_t>(std::stoul(field)); }

// The serialized form of a record's JSON text, as the writers make it.
std::string Serialized(const std::string& json) {
  const std::string text = json + "\n";
  return base64_encode(reinterpret_cast<const unsigned char*>(text.data()), static_cast<std::uint32_t>(text.size()));
}

TEST(Argon2idKdf, GivesTheKnownTags) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_argon2id_known.tsv")) {
    const std::vector<std::uint8_t> tag = Bytes(row["tag"]);
    std::vector<std::uint8_t> out(tag.size());
    ASSERT_TRUE(Argon2idDeriveKeyed(Bytes(row["password"]), Bytes(row["salt"]), Bytes(row["secret"]),
                                    Bytes(row["associated_data"]),
                                    {Number(row["memory_kib"]), Number(row["passes"]), Number(row["lanes"])}, out))
        << row.where;
    EXPECT_EQ(out, tag) << row.where;
  }
}

TEST(Argon2idKdf, KeepsToTheBounds) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_argon2id_kdf_bounds.tsv")) {
    const std::vector<std::uint8_t> password{'p', 'w'};
    const std::vector<std::uint8_t> salt(Number(row["salt_bytes"]), 0x5A);
    std::vector<std::uint8_t> out(Number(row["out_bytes"]), 0xA5);
    const bool derived =
        Argon2idDerive(password, salt, {Number(row["memory_kib"]), Number(row["passes"]), Number(row["lanes"])}, out);
    EXPECT_EQ(derived, row["derived"] == "1") << row.where;
    if (!derived) {
      EXPECT_EQ(out, std::vector<std::uint8_t>(out.size(), 0)) << row.where;
    }
  }
}

TEST(Argon2idRecord, IsReadOnlyWhenWhollyValidAndWrittenByteExactly) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_argon2id_records.tsv")) {
    const std::string serialized = row["form"] == "raw" ? row["text"] : Serialized(row["text"]);
    Argon2idHashRecord record;
    const bool read = ReadArgon2idRecord(serialized, record);
    EXPECT_EQ(read, row["read"] == "1") << row.where;
    if (read) {
      EXPECT_EQ(WriteArgon2idRecord(record), serialized) << row.where;
    }
  }
}

// The version-2 record has no digest name, so no reader or validator of version-1 records takes
// it, whatever digest the caller names; the fail-open rule of the validators never comes into play.
TEST(Argon2idRecord, IsRefusedByTheVersion1ReadersForEveryDigestName) {
  const std::string record = Serialized(
      R"({"a":"argon2id","di":"s2eQKPIIEh/SweBA0Ul95nOHxIShmS5F/V6y3uxtwYo=","m":64,"p":1,"sa":"oKGio6SlpqeoqaqrrK2urw==","t":2,"v":2})");
  ASSERT_TRUE(VerifyPasswordHashArgon2id("correct horse", record));
  HashingData_t hashing;
  EXPECT_FALSE(DeserializeHashingData(hashing, record));
  EXPECT_FALSE(VerifyPasswordHash("correct horse", record));
  for (const char* digestName : {"sha256", "sha1", "sha512", "md5", "", "argon2id", "no-such-digest"}) {
    EXPECT_FALSE(QVHashing().validatePasswordHash(digestName, "correct horse", record)) << digestName;
  }
}

TEST(PasswordHashArgon2id, CountsEveryByteOfThePassword) {
  const Argon2idParameters cheap{64, 1, 1};
  const std::string password("pass\0word", 9);
  std::string record;
  ASSERT_EQ(CreatePasswordHashArgon2id(password, record, cheap), PXA_OK);
  Argon2idHashRecord read;
  ASSERT_TRUE(ReadArgon2idRecord(record, read));
  EXPECT_TRUE(read.parameters.memoryKiB == 64 && read.salt.size() == 16 && read.digest.size() == 32);
  EXPECT_TRUE(VerifyPasswordHashArgon2id(password, record));
  EXPECT_FALSE(VerifyPasswordHashArgon2id("pass", record));
  EXPECT_FALSE(VerifyPasswordHashArgon2id(std::string("pass\0worD", 9), record));
  EXPECT_EQ(CreatePasswordHashArgon2id(password, record, {7, 1, 1}), PXA_ERR_INVALID_ARGUMENTS);
}

TEST(PasswordHashUpgrade, VerifiesFailClosedAndUpgradesBelowThePolicy) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_password_upgrade.tsv")) {
    const Argon2idParameters policy{Number(row["policy_memory_kib"]), Number(row["policy_passes"]), 1};
    bool verified = true;
    std::string upgraded = "left over";
    const PxaResult result =
        VerifyAndUpgradePasswordHash(row["password"], Serialized(row["record"]), verified, upgraded, policy);
    EXPECT_EQ(result, std::stoull(row["result"])) << row.where;
    EXPECT_EQ(verified, row["verified"] == "1") << row.where;
    EXPECT_EQ(!upgraded.empty(), row["upgraded"] == "1") << row.where;
    if (!upgraded.empty()) {
      Argon2idHashRecord made;
      ASSERT_TRUE(ReadArgon2idRecord(upgraded, made)) << row.where;
      EXPECT_TRUE(made.parameters.memoryKiB == policy.memoryKiB && made.parameters.passes == policy.passes)
          << row.where;
      EXPECT_TRUE(VerifyPasswordHashArgon2id(row["password"], upgraded)) << row.where;
    }
  }
}

}  // namespace
}  // namespace QVCryptoService
