#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include "encryption/compact_cipher_record.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(CipherRecordTexts, AreReadAndWrittenByteExactly) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("crypto_cipher_records.tsv")) {
    CipherMeta_t meta;
    EXPECT_EQ(CipherMetaFromJsonStr(row["text"], meta), row["meta"] == "1") << row.where;
    CipherMeta_t withCipher;
    std::vector<std::uint8_t> cipherText;
    const bool cipherRead = CipherFromJsonStr(row["text"], withCipher, cipherText);
    EXPECT_EQ(cipherRead, row["with_cipher"] == "1") << row.where;
    if (row["rewritten"] == "1") {
      EXPECT_EQ(cipherRead ? CipherToJsonStr(withCipher, cipherText) : CipherMetaToJsonStr(meta), row["text"] + "\n")
          << row.where;
      // The serialized form is the combined text in base64.
      EXPECT_TRUE(!cipherRead || base64_decode(SeralizeCipherData(withCipher, cipherText)) == row["text"] + "\n");
    }
  }
}

TEST(CipherRecordTexts, MembersWithoutTheirCompanionAreNotWritten) {
  CipherMeta_t meta;
  meta.keyVersion = 5;
  meta.salt = {1};
  meta.iterations = 3;
  EXPECT_EQ(CipherMetaToJsonStr(meta), "{\"cn\":\"\",\"iv\":\"\",\"v\":0}\n");
  zkJson::Value value;
  value["zz"] = zkJson::Value("kept");
  value["kn"] = zkJson::Value("stale");
  CipherMetaToJson(CipherMeta_t{}, value);
  EXPECT_EQ(zkJson::FastWriter().write(value), "{\"cn\":\"\",\"iv\":\"\",\"kn\":\"stale\",\"v\":0,\"zz\":\"kept\"}\n")
      << "members already there are kept";
}

TEST(CipherRecordTexts, ReadingKeepsWhatItDoesNotReach) {
  CipherMeta_t meta;
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"cn\":\"aes-256-cbc\",\"iv\":\"AAEC\",\"kn\":\"k\",\"kv\":7,\"v\":1}", meta));
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"v\":0,\"cn\":\"other\"}", meta));
  EXPECT_EQ(CipherMetaToJsonStr(meta), "{\"cn\":\"aes-256-cbc\",\"iv\":\"AAEC\",\"kn\":\"k\",\"kv\":7,\"v\":0}\n");
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"v\":2,\"cn\":\"aes-128-cbc\",\"iv\":\"AA==\"}", meta));
  EXPECT_EQ(CipherMetaToJsonStr(meta), "{\"cn\":\"aes-128-cbc\",\"iv\":\"AA==\",\"kn\":\"k\",\"kv\":7,\"v\":2}\n");
  CipherMeta_t partial;
  EXPECT_FALSE(CipherMetaFromJsonStr("{\"v\":3,\"cn\":\"c\",\"iv\":\"\",\"kn\":\"k\",\"kv\":\"x\"}", partial));
  EXPECT_EQ(CipherMetaToJsonStr(partial), "{\"cn\":\"c\",\"iv\":\"\",\"kn\":\"k\",\"kv\":0,\"v\":3}\n")
      << "members read before the failing one keep their values";
}

TEST(CipherRecordMoves, KeepIntegersAndEmptyTheRest) {
  CipherMeta_t source;
  ASSERT_TRUE(CipherMetaFromJsonStr(
      "{\"cn\":\"c\",\"dn\":\"sha256\",\"it\":10000,\"iv\":\"/w==\",\"kn\":\"k\",\"kv\":4,\"sa\":\"AQ==\",\"v\":1}",
      source));
  const std::string before = CipherMetaToJsonStr(source);
  CipherMeta_t assigned;
  assigned = CipherMeta_t(std::move(source));
  EXPECT_EQ(CipherMetaToJsonStr(assigned), before);
  // NOLINTNEXTLINE(bugprone-use-after-move): the moved-from state is the point
  EXPECT_EQ(CipherMetaToJsonStr(source), "{\"cn\":\"\",\"iv\":\"\",\"v\":1}\n");
  EXPECT_TRUE(source.keyVersion == 4 && source.iterations == 10000 && source.salt.empty() && source.digestName.empty());
}

// A record start whose members show which ones a read left alone.
CipherMeta_t Prefilled() {
  CipherMeta_t meta;
  meta.keyName = "left alone";
  meta.keyVersion = 77;
  meta.salt = {9, 9};
  meta.iterations = 5;
  meta.digestName = "left alone too";
  return meta;
}

// The records this library writes must be taken by the direct reader (or it would silently never
// run) and read as the JSON reader reads them.
TEST(CompactCipherRecord, RecordsThisLibraryWritesAreReadDirectlyAndAlike) {
  const char* const records[] = {
      "{\"cn\":\"aes-256-cbc\",\"iv\":\"paWlpaWlpaWlpaWlpaWlpQ==\",\"kn\":\"k\",\"kv\":3,\"v\":1}",
      "{\"cn\":\"aes-256-cbc\",\"dn\":\"sha256\",\"it\":10000,\"iv\":\"EREREREREREREREREREREQ==\",\"sa\":"
      "\"IiIiIiIiIiIiIiIiIiIiIg==\",\"v\":1}"};
  for (const char* record : records) {
    CipherMeta_t meta;
    ASSERT_TRUE(CipherMetaFromJsonStr(record, meta));
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{16}, std::size_t{4099}}) {
      const std::vector<std::uint8_t> cipherText(length, 0x3C);
      const std::string json = CipherToJsonStr(meta, cipherText);
      CipherMeta_t general = Prefilled();
      ASSERT_TRUE(CipherMetaFromJsonStr(json, general));
      CipherMeta_t direct = Prefilled();
      std::vector<std::uint8_t> directBytes;
      ASSERT_TRUE(ReadCompactCipherRecord(json, direct, directBytes)) << "written record not taken directly: " << json;
      EXPECT_EQ(CipherToJsonStr(direct, directBytes), CipherToJsonStr(general, cipherText));
    }
  }
}

TEST(CompactCipherRecord, OtherTextsAreLeftToTheJsonReaderUntouched) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("crypto_compact_declined.tsv")) {
    CipherMeta_t meta = Prefilled();
    std::vector<std::uint8_t> cipherText;
    EXPECT_FALSE(ReadCompactCipherRecord(row["text"], meta, cipherText)) << row.where;
    EXPECT_EQ(CipherMetaToJsonStr(meta), CipherMetaToJsonStr(Prefilled())) << row.where;
  }
}

}  // namespace
}  // namespace QVCryptoService
