#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/primitives.h>

#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(HashingRecordTexts, AreReadAndWrittenByteExactly) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hashing_record_texts.tsv")) {
    HashingData_t hashing;
    SigningData_t signing;
    const bool isHashing = row["record"] == "hashing";
    const bool read =
        isHashing ? HashingDataFromJsonStr(hashing, row["text"]) : SigningDataFromJsonStr(signing, row["text"]);
    EXPECT_EQ(read, row["read"] == "1") << row.where;
    if (row["rewritten"] == "1") {
      EXPECT_EQ(isHashing ? HashingDataToJsonStr(hashing) : SigningDataToJsonStr(signing), row["text"] + "\n")
          << row.where;
      // The serialized form is the text in base64.
      EXPECT_EQ(base64_decode(isHashing ? SerializeHashingData(hashing) : SerializeSigningData(signing)),
                row["text"] + "\n")
          << row.where;
    }
  }
}

TEST(HashingRecordTexts, AbsentOptionalMembersKeepOldValues) {
  HashingData_t record;
  record.iterations = 10000;
  record.salt = {1, 2, 3};
  ASSERT_TRUE(HashingDataFromJsonStr(record, "{\"v\":1,\"dn\":\"sha512\",\"di\":\"AA==\"}"));
  EXPECT_EQ(HashingDataToJsonStr(record), "{\"di\":\"AA==\",\"dn\":\"sha512\",\"it\":10000,\"sa\":\"AQID\",\"v\":1}\n");
}

TEST(HashingRecordTexts, DeserializingRefusesOtherTexts) {
  HashingData_t hashing;
  SigningData_t signing;
  ASSERT_TRUE(HashingDataFromJsonStr(hashing, "{\"di\":\"/+4=\",\"dn\":\"sha256\",\"v\":1}"));
  EXPECT_FALSE(DeserializeHashingData(hashing, "%%%"));
  EXPECT_FALSE(DeserializeSigningData(signing, SerializeHashingData(hashing)))
      << "a hashing record is no signing record";
}

TEST(HashingRecordMoves, KeepIntegersAndEmptyTheRest) {
  HashingData_t hashing;
  SigningData_t signing;
  ASSERT_TRUE(
      HashingDataFromJsonStr(hashing, "{\"di\":\"/+4=\",\"dn\":\"sha256\",\"it\":10000,\"sa\":\"AQID\",\"v\":1}"));
  ASSERT_TRUE(SigningDataFromJsonStr(signing, "{\"dn\":\"sha256\",\"hm\":\"AAAA\",\"kn\":\"k\",\"kv\":-4,\"v\":1}"));
  const HashingData_t moved(std::move(hashing));
  SigningData_t assigned;
  assigned = std::move(signing);
  EXPECT_TRUE(moved.digestName == "sha256" && assigned.keyName == "k");
  // NOLINTNEXTLINE(bugprone-use-after-move): the moved-from state is the point
  EXPECT_EQ(HashingDataToJsonStr(hashing), "{\"di\":\"\",\"dn\":\"\",\"it\":10000,\"v\":1}\n");
  // NOLINTNEXTLINE(bugprone-use-after-move)
  EXPECT_EQ(SigningDataToJsonStr(signing), "{\"dn\":\"\",\"hm\":\"\",\"kn\":\"\",\"kv\":-4,\"v\":1}\n");
}

}  // namespace
}  // namespace QVCryptoService
