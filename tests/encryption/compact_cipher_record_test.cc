// The direct reader of compact cipher records against the general JSON reader: whatever the
// direct reader takes, the general one must read to the same record, and the records this
// library writes must be taken (or the direct reader would silently never run).

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/zkjson.h>

#include "encryption/compact_cipher_record.h"
#include "json/record_text.h"

#include <gtest/gtest.h>

#include <exception>
#include <random>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

struct Read {
  bool ok = false;
  CipherMeta_t meta;
  std::vector<std::uint8_t> cipherText;
};

// The general path, as CipherFromJsonStr takes it when the direct reader declines.
Read ReadGenerally(const std::string& json, const CipherMeta_t& start) {
  Read read;
  read.meta = start;
  zkJson::Value root;
  if (!ParseRecordText(json, root) || !CipherMetaFromJson(root, read.meta) || root.isNull()) {
    return read;
  }
  try {
    if (root.isMember("cd")) {
      read.cipherText = BytesFromBase64Field(root["cd"]);
      read.ok = true;
    }
  } catch (const std::exception&) {
  }
  return read;
}

Read ReadDirectly(const std::string& json, const CipherMeta_t& start) {
  Read read;
  read.meta = start;
  read.ok = ReadCompactCipherRecord(json, read.meta, read.cipherText);
  return read;
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

void ExpectSameRecord(const Read& direct, const Read& general, const std::string& json) {
  ASSERT_TRUE(general.ok) << "the direct reader took what the JSON reader refuses: " << json;
  EXPECT_EQ(direct.meta.version, general.meta.version) << json;
  EXPECT_EQ(direct.meta.cipherName, general.meta.cipherName) << json;
  EXPECT_EQ(direct.meta.iv, general.meta.iv) << json;
  EXPECT_EQ(direct.meta.keyName, general.meta.keyName) << json;
  EXPECT_EQ(direct.meta.keyVersion, general.meta.keyVersion) << json;
  EXPECT_EQ(direct.meta.salt, general.meta.salt) << json;
  EXPECT_EQ(direct.meta.iterations, general.meta.iterations) << json;
  EXPECT_EQ(direct.meta.digestName, general.meta.digestName) << json;
  EXPECT_EQ(direct.cipherText, general.cipherText) << json;
}

CipherMeta_t KeystoreRecord() {
  CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  meta.iv = std::vector<std::uint8_t>(16, 0xA5);
  meta.keyName = "QV_ENCYPT_DECRYPT_0";
  meta.keyVersion = 3;
  return meta;
}

CipherMeta_t PasswordRecord() {
  CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  meta.iv = std::vector<std::uint8_t>(16, 0x11);
  meta.digestName = "sha256";
  meta.salt = std::vector<std::uint8_t>(16, 0x22);
  meta.iterations = 10000;
  return meta;
}

TEST(CompactCipherRecord, RecordsThisLibraryWritesAreReadDirectlyAndAlike) {
  for (const CipherMeta_t& meta : {KeystoreRecord(), PasswordRecord()}) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{16}, std::size_t{4099}}) {
      const std::vector<std::uint8_t> cipherText(length, 0x3C);
      const std::string json = CipherToJsonStr(meta, cipherText);
      const Read direct = ReadDirectly(json, Prefilled());
      ASSERT_TRUE(direct.ok) << "written record not taken directly: " << json;
      ExpectSameRecord(direct, ReadGenerally(json, Prefilled()), json);
      EXPECT_EQ(direct.cipherText, cipherText);
    }
  }
}

TEST(CompactCipherRecord, OtherTextsAreLeftToTheJsonReader) {
  const std::string cases[] = {
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":0})",                         // version 0: an empty record
      R"({"cn":"aes-256-cbc","iv":"AAAA","v":1})",                                 // no cipher text
      R"({"cd":"","iv":"AAAA","v":1})",                                            // no cipher name
      R"({"cd":"","cn":"aes-256-cbc","v":1})",                                     // no IV
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA"})",                               // no version
      R"({"cn":"aes-256-cbc","cd":"","iv":"AAAA","v":1})",                         // out of order
      R"({"cd":"","cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1})",                 // repeated
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1,"x":1})",                   // unknown member
      R"({ "cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1})",                        // white space
      R"({"cd":"","cn":"aes\u002d256-cbc","iv":"AAAA","v":1})",                    // escape
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAA=A","v":1})",                        // damaged base64
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":01})",                        // leading zero
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":-1})",                        // sign
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1234567890})",                // ten digits
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1.0})",                       // a real
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":"1"})",                       // a string version
      R"({"cd":"","cn":"aes-256-cbc","iv":"AAAA","v":1}x)",                        // trailing text
      "{\"cd\":\"\",\"cn\":\"aes-256-cbc\",\"iv\":\"AAAA\",\"v\":1}\n\n",          // two line feeds
      "\xEF\xBB\xBF{\"cd\":\"\",\"cn\":\"aes-256-cbc\",\"iv\":\"AAAA\",\"v\":1}",  // byte order mark
      "{\"cd\":\"\",\"cn\":\"a\xC3\xA9s\",\"iv\":\"AAAA\",\"v\":1}",               // non-ASCII name
      R"([])",
      "",
  };
  for (const std::string& json : cases) {
    const Read direct = ReadDirectly(json, Prefilled());
    EXPECT_FALSE(direct.ok) << json;
    EXPECT_EQ(direct.meta.keyName, "left alone") << json;
    EXPECT_EQ(direct.meta.version, 0) << json;
  }
}

TEST(CompactCipherRecord, DamagedRecordsNeverReadDifferentlyFromTheJsonReader) {
  const std::string original = CipherToJsonStr(KeystoreRecord(), std::vector<std::uint8_t>(40, 0x5A));
  std::mt19937 random(1234);
  const std::string alphabet = "{}\":,0123456789 -+.abcdefgikntvsAZaz=/\\\n";
  int takenDirectly = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string json = original;
    for (int edits = 1 + static_cast<int>(random() % 3); edits > 0; --edits) {
      json[random() % json.size()] = alphabet[random() % alphabet.size()];
    }
    const Read direct = ReadDirectly(json, Prefilled());
    if (direct.ok) {
      ++takenDirectly;
      ExpectSameRecord(direct, ReadGenerally(json, Prefilled()), json);
    }
  }
  EXPECT_GT(takenDirectly, 0) << "no damaged record was still a compact record; the check saw nothing";
}

}  // namespace
}  // namespace QVCryptoService
