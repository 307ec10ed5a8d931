#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/primitives.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

HashingData_t PasswordHashRecord() {
  HashingData_t record;
  record.version = 1;
  record.iterations = 10000;
  record.digestName = "sha256";
  record.salt = {1, 2, 3};
  record.digest = {0xFF, 0xEE};
  return record;
}

SigningData_t HmacRecord() {
  SigningData_t record;
  record.version = 1;
  record.digestName = "sha256";
  record.keyName = "QV_HMAC_INTEGRITY_0";
  record.keyVersion = -4;
  record.hmac = {0, 0, 0};
  return record;
}

TEST(HashingRecordText, IsByteExact) {
  EXPECT_EQ(HashingDataToJsonStr(HashingData_t{}), "{\"di\":\"\",\"dn\":\"\",\"v\":0}\n");
  EXPECT_EQ(HashingDataToJsonStr(PasswordHashRecord()),
            "{\"di\":\"/+4=\",\"dn\":\"sha256\",\"it\":10000,\"sa\":\"AQID\",\"v\":1}\n");
  HashingData_t checksum = PasswordHashRecord();
  checksum.iterations = 0;
  checksum.salt.clear();
  EXPECT_EQ(HashingDataToJsonStr(checksum), "{\"di\":\"/+4=\",\"dn\":\"sha256\",\"v\":1}\n");
  HashingData_t empty;
  const std::string emptyText = "{\"di\":\"\",\"dn\":\"\",\"v\":0}\n";
  EXPECT_EQ(SerializeHashingData(empty), base64_encode(reinterpret_cast<const unsigned char*>(emptyText.data()),
                                                       static_cast<std::uint32_t>(emptyText.size())));
}

TEST(SigningRecordText, IsByteExactWithAnUnsignedVersion) {
  EXPECT_EQ(SigningDataToJsonStr(SigningData_t{}), "{\"dn\":\"\",\"hm\":\"\",\"kn\":\"\",\"kv\":0,\"v\":0}\n");
  EXPECT_EQ(SigningDataToJsonStr(HmacRecord()),
            "{\"dn\":\"sha256\",\"hm\":\"AAAA\",\"kn\":\"QV_HMAC_INTEGRITY_0\",\"kv\":-4,\"v\":1}\n");
  SigningData_t big = HmacRecord();
  big.version = 4000000000U;
  EXPECT_NE(SigningDataToJsonStr(big).find("\"v\":4000000000}"), std::string::npos);
  SigningData_t read;
  ASSERT_TRUE(SigningDataFromJsonStr(read, SigningDataToJsonStr(big)));
  EXPECT_EQ(read.version, 4000000000U);
}

struct ReadCase {
  const char* json;
  bool accepted;
};

class HashingRecordReading : public testing::TestWithParam<ReadCase> {};
TEST_P(HashingRecordReading, AcceptsOrRefuses) {
  HashingData_t record;
  EXPECT_EQ(HashingDataFromJsonStr(record, GetParam().json), GetParam().accepted) << GetParam().json;
}
INSTANTIATE_TEST_SUITE_P(
    Texts, HashingRecordReading,
    testing::Values(ReadCase{"{\"v\":0}", true}, ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"di\":\"\"}", true},
                    ReadCase{"{\"v\":1,\"di\":\"\"}", false}, ReadCase{"{\"v\":1,\"dn\":\"sha256\"}", false},
                    ReadCase{"{\"v\":\"1\",\"dn\":\"sha256\",\"di\":\"\"}", false},
                    ReadCase{"{\"v\":2147483648,\"dn\":\"sha256\",\"di\":\"\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"di\":\"\",\"it\":\"many\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"di\":\"#\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":[],\"di\":\"\"}", false}, ReadCase{"{}", false},
                    ReadCase{"[{\"v\":0}]", false}, ReadCase{"not json", false}, ReadCase{"", false}));

class SigningRecordReading : public testing::TestWithParam<ReadCase> {};
TEST_P(SigningRecordReading, AcceptsOrRefuses) {
  SigningData_t record;
  EXPECT_EQ(SigningDataFromJsonStr(record, GetParam().json), GetParam().accepted) << GetParam().json;
}
INSTANTIATE_TEST_SUITE_P(
    Texts, SigningRecordReading,
    testing::Values(ReadCase{"{\"v\":0}", true},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"kn\":\"k\",\"kv\":1,\"hm\":\"AA==\"}", true},
                    ReadCase{"{\"v\":1,\"kn\":\"k\",\"kv\":1,\"hm\":\"AA==\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"kv\":1,\"hm\":\"AA==\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"kn\":\"k\",\"hm\":\"AA==\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"kn\":\"k\",\"kv\":1}", false},
                    ReadCase{"{\"v\":\"x\",\"dn\":\"sha256\",\"kn\":\"k\",\"kv\":1,\"hm\":\"AA==\"}", false},
                    ReadCase{"{\"v\":1,\"dn\":\"sha256\",\"kn\":\"k\",\"kv\":9999999999,\"hm\":\"AA==\"}", false}));

TEST(HashingRecordReading, OptionalMembersKeepOldValues) {
  HashingData_t record = PasswordHashRecord();
  ASSERT_TRUE(HashingDataFromJsonStr(record, "{\"v\":1,\"dn\":\"sha512\",\"di\":\"AA==\"}"));
  EXPECT_EQ(record.digestName, "sha512");
  EXPECT_EQ(record.iterations, 10000);
  EXPECT_EQ(record.salt, (std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(record.digest, std::vector<std::uint8_t>{0});
}

TEST(RecordSerialization, RoundTripsIntoDefaultRecords) {
  HashingData_t hashing = PasswordHashRecord();
  HashingData_t hashingRead;
  ASSERT_TRUE(DeserializeHashingData(hashingRead, SerializeHashingData(hashing)));
  EXPECT_EQ(HashingDataToJsonStr(hashingRead), HashingDataToJsonStr(hashing));
  SigningData_t signing = HmacRecord();
  SigningData_t signingRead;
  ASSERT_TRUE(DeserializeSigningData(signingRead, SerializeSigningData(signing)));
  EXPECT_EQ(SigningDataToJsonStr(signingRead), SigningDataToJsonStr(signing));
  EXPECT_FALSE(DeserializeHashingData(hashingRead, "%%%"));
  EXPECT_FALSE(DeserializeSigningData(signingRead, SerializeHashingData(hashing)));
}

TEST(RecordMoves, KeepIntegersAndEmptyTheRest) {
  HashingData_t hashing = PasswordHashRecord();
  HashingData_t movedHashing(std::move(hashing));
  EXPECT_EQ(hashing.version, 1);  // NOLINT(bugprone-use-after-move): the moved-from state is the point
  EXPECT_EQ(hashing.iterations, 10000);
  EXPECT_TRUE(hashing.digestName.empty() && hashing.salt.empty() && hashing.digest.empty());
  EXPECT_EQ(movedHashing.digestName, "sha256");
  SigningData_t signing = HmacRecord();
  SigningData_t movedSigning;
  movedSigning = std::move(signing);
  EXPECT_EQ(signing.keyVersion, -4);  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(signing.keyName.empty() && signing.hmac.empty());
  EXPECT_EQ(movedSigning.keyName, "QV_HMAC_INTEGRITY_0");
}

}  // namespace
}  // namespace QVCryptoService
