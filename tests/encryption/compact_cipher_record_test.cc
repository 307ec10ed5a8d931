// The direct reader of compact cipher records against the general JSON reader: whatever the
// direct reader takes, the general one must read to the same record, and the records this
// library writes must be taken (or the direct reader would silently never run).

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/zkjson.h>

#include "encryption/compact_cipher_record.h"
#include "json/record_text.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

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

// The record as read, in the combined text form; empty when refused.
std::string ReadDirectly(const std::string& json) {
  CipherMeta_t meta = Prefilled();
  std::vector<std::uint8_t> cipherText;
  return ReadCompactCipherRecord(json, meta, cipherText) ? CipherToJsonStr(meta, cipherText) : "";
}

// The general path, as CipherFromJsonStr takes it when the direct reader declines.
std::string ReadGenerally(const std::string& json) {
  CipherMeta_t meta = Prefilled();
  zkJson::Value root;
  try {
    if (ParseRecordText(json, root) && CipherMetaFromJson(root, meta) && !root.isNull() && root.isMember("cd")) {
      return CipherToJsonStr(meta, BytesFromBase64Field(root["cd"]));
    }
  } catch (const std::exception&) {
  }
  return "";
}

TEST(CompactCipherRecord, RecordsThisLibraryWritesAreReadDirectlyAndAlike) {
  const char* const records[] = {
      "{\"cn\":\"aes-256-cbc\",\"iv\":\"paWlpaWlpaWlpaWlpaWlpQ==\",\"kn\":\"k\",\"kv\":3,\"v\":1}",
      "{\"cn\":\"aes-256-cbc\",\"dn\":\"sha256\",\"it\":10000,\"iv\":\"EREREREREREREREREREREQ==\",\"sa\":"
      "\"IiIiIiIiIiIiIiIiIiIiIg==\",\"v\":1}"};
  for (const char* record : records) {
    CipherMeta_t meta;
    ASSERT_TRUE(CipherMetaFromJsonStr(record, meta));
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{16}, std::size_t{4099}}) {
      const std::string json = CipherToJsonStr(meta, std::vector<std::uint8_t>(length, 0x3C));
      EXPECT_FALSE(ReadDirectly(json).empty()) << "written record not taken directly: " << json;
      EXPECT_EQ(ReadDirectly(json), ReadGenerally(json));
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
