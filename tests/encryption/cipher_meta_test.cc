#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

CipherMeta_t KeystoreRecord() {
  CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  meta.iv = {0, 1, 2};
  meta.keyName = "QV_ENCYPT_DECRYPT_0";
  meta.keyVersion = 7;
  return meta;
}

CipherMeta_t PasswordRecord() {
  CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  meta.iv = {0xFF};
  meta.salt = {1, 2, 3, 4};
  meta.iterations = 10000;
  meta.digestName = "sha256";
  return meta;
}

struct WriteCase {
  const char* what;
  CipherMeta_t meta;
  const char* json;
};

class CipherMetaWriting : public testing::TestWithParam<WriteCase> {};

TEST_P(CipherMetaWriting, IsByteExact) { EXPECT_EQ(CipherMetaToJsonStr(GetParam().meta), GetParam().json); }

CipherMeta_t With(CipherMeta_t meta, void (*change)(CipherMeta_t&)) {
  change(meta);
  return meta;
}

INSTANTIATE_TEST_SUITE_P(
    Records, CipherMetaWriting,
    testing::Values(
        WriteCase{"default record", CipherMeta_t{}, "{\"cn\":\"\",\"iv\":\"\",\"v\":0}\n"},
        WriteCase{"keystore record", KeystoreRecord(),
                  "{\"cn\":\"aes-256-cbc\",\"iv\":\"AAEC\",\"kn\":\"QV_ENCYPT_DECRYPT_0\",\"kv\":7,\"v\":1}\n"},
        WriteCase{
            "password record", PasswordRecord(),
            "{\"cn\":\"aes-256-cbc\",\"dn\":\"sha256\",\"it\":10000,\"iv\":\"/w==\",\"sa\":\"AQIDBA==\",\"v\":1}\n"},
        WriteCase{"key version 0 still written with the name",
                  With(CipherMeta_t{}, [](CipherMeta_t& m) { m.keyName = "k"; }),
                  "{\"cn\":\"\",\"iv\":\"\",\"kn\":\"k\",\"kv\":0,\"v\":0}\n"},
        WriteCase{"key version without name not written",
                  With(CipherMeta_t{}, [](CipherMeta_t& m) { m.keyVersion = 5; }),
                  "{\"cn\":\"\",\"iv\":\"\",\"v\":0}\n"},
        WriteCase{"salt without digest not written",
                  With(CipherMeta_t{},
                       [](CipherMeta_t& m) {
                         m.salt = {1};
                         m.iterations = 3;
                       }),
                  "{\"cn\":\"\",\"iv\":\"\",\"v\":0}\n"},
        WriteCase{"negative integers",
                  With(KeystoreRecord(),
                       [](CipherMeta_t& m) {
                         m.version = -2;
                         m.keyVersion = -1;
                       }),
                  "{\"cn\":\"aes-256-cbc\",\"iv\":\"AAEC\",\"kn\":\"QV_ENCYPT_DECRYPT_0\",\"kv\":-1,\"v\":-2}\n"}));

TEST(CipherMetaWriting, CombinedFormPutsCdFirst) {
  EXPECT_EQ(
      CipherToJsonStr(PasswordRecord(), {0xDE, 0xAD}),
      "{\"cd\":\"3q0=\",\"cn\":\"aes-256-cbc\",\"dn\":\"sha256\",\"it\":10000,\"iv\":\"/w==\",\"sa\":\"AQIDBA==\","
      "\"v\":1}\n");
}

TEST(CipherMetaWriting, ToJsonKeepsMembersAlreadyThere) {
  zkJson::Value value;
  value["zz"] = zkJson::Value("kept");
  value["kn"] = zkJson::Value("stale");
  CipherMetaToJson(CipherMeta_t{}, value);
  EXPECT_EQ(zkJson::FastWriter().write(value), "{\"cn\":\"\",\"iv\":\"\",\"kn\":\"stale\",\"v\":0,\"zz\":\"kept\"}\n");
}

struct ReadCase {
  const char* json;
  bool metaOk;
  bool withCipherOk;
};

class CipherMetaReading : public testing::TestWithParam<ReadCase> {};

TEST_P(CipherMetaReading, AcceptsOrRefuses) {
  CipherMeta_t meta;
  EXPECT_EQ(CipherMetaFromJsonStr(GetParam().json, meta), GetParam().metaOk) << GetParam().json;
  CipherMeta_t again;
  std::vector<std::uint8_t> cipher;
  EXPECT_EQ(CipherFromJsonStr(GetParam().json, again, cipher), GetParam().withCipherOk) << GetParam().json;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CipherMetaReading,
    testing::Values(ReadCase{"{\"v\":0}", true, false}, ReadCase{"{\"v\":0,\"cd\":\"\"}", true, true},
                    ReadCase{"{\"v\":1,\"cn\":\"aes-256-cbc\"}", false, false},
                    ReadCase{"{\"v\":1,\"iv\":\"\"}", false, false},
                    ReadCase{"{\"v\":1,\"cn\":\"x\",\"iv\":\"\",\"cd\":\"AA==\"}", true, true},
                    ReadCase{"{\"v\":\"1\",\"cn\":\"x\",\"iv\":\"\"}", false, false},
                    ReadCase{"{\"v\":1.5e300,\"cn\":\"x\",\"iv\":\"\"}", false, false},
                    ReadCase{"{\"v\":true,\"cn\":\"x\",\"iv\":\"\",\"cd\":\"\"}", true, true},
                    ReadCase{"{\"v\":1,\"cn\":\"x\",\"iv\":\"!!\",\"cd\":\"\"}", false, false},
                    ReadCase{"{\"v\":1,\"cn\":\"x\",\"iv\":\"\",\"cd\":\"A\"}", true, false},
                    ReadCase{"{\"v\":1,\"cn\":\"x\",\"iv\":\"\",\"cd\":5}", true, false},
                    ReadCase{"{\"v\":1,\"cn\":[],\"iv\":\"\"}", false, false}, ReadCase{"{\"v\":null}", true, false},
                    ReadCase{"null", false, false}, ReadCase{"[]", false, false}, ReadCase{"[1,2]", false, false},
                    ReadCase{"", false, false}, ReadCase{"{\"v\":1,", false, false}, ReadCase{"\"v\"", false, false}));

TEST(CipherMetaReading, VersionTrueReadsAsOneAndVersionZeroStopsEarly) {
  CipherMeta_t meta = KeystoreRecord();
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"v\":0,\"cn\":\"other\"}", meta));
  EXPECT_EQ(meta.version, 0);
  EXPECT_EQ(meta.cipherName, "aes-256-cbc") << "nothing after a version 0 is read";
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"v\":true,\"cn\":\"c\",\"iv\":\"\"}", meta));
  EXPECT_EQ(meta.version, 1);
}

TEST(CipherMetaReading, AbsentOptionalMembersKeepOldValuesAndFailuresKeepEarlierOnes) {
  CipherMeta_t meta = KeystoreRecord();
  ASSERT_TRUE(CipherMetaFromJsonStr("{\"v\":2,\"cn\":\"aes-128-cbc\",\"iv\":\"AA==\"}", meta));
  EXPECT_EQ(meta.version, 2);
  EXPECT_EQ(meta.cipherName, "aes-128-cbc");
  EXPECT_EQ(meta.iv, std::vector<std::uint8_t>{0});
  EXPECT_EQ(meta.keyName, "QV_ENCYPT_DECRYPT_0");
  EXPECT_EQ(meta.keyVersion, 7);
  CipherMeta_t partial;
  EXPECT_FALSE(CipherMetaFromJsonStr("{\"v\":3,\"cn\":\"c\",\"iv\":\"\",\"kn\":\"k\",\"kv\":\"x\"}", partial));
  EXPECT_EQ(partial.version, 3);
  EXPECT_EQ(partial.keyName, "k") << "members read before the failing one keep their values";
  EXPECT_EQ(partial.keyVersion, 0);
}

TEST(CipherMetaSerialized, RoundTripsEveryWrittenMember) {
  for (const CipherMeta_t& meta : {KeystoreRecord(), PasswordRecord(), CipherMeta_t{}}) {
    const std::vector<std::uint8_t> cipher = {9, 8, 7, 6, 5};
    const std::string text = SeralizeCipherData(meta, cipher);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(base64_decode(text), CipherToJsonStr(meta, cipher));
    CipherMeta_t read;
    std::vector<std::uint8_t> readCipher;
    ASSERT_TRUE(DeserialzeCipherData(text, read, readCipher));
    EXPECT_EQ(CipherMetaToJsonStr(read), CipherMetaToJsonStr(meta));
    EXPECT_EQ(readCipher, cipher);
  }
}

TEST(CipherMetaRecord, MoveKeepsIntegersAndEmptiesTheRest) {
  CipherMeta_t source = PasswordRecord();
  source.keyName = "k";
  source.keyVersion = 4;
  CipherMeta_t moved(std::move(source));
  EXPECT_EQ(moved.salt, (std::vector<std::uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(source.version, 1);  // NOLINT(bugprone-use-after-move): the moved-from state is the point
  EXPECT_EQ(source.keyVersion, 4);
  EXPECT_EQ(source.iterations, 10000);
  EXPECT_TRUE(source.cipherName.empty() && source.iv.empty() && source.keyName.empty() && source.salt.empty() &&
              source.digestName.empty());
  CipherMeta_t assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.digestName, "sha256");
  CipherMeta_t& self = assigned;
  assigned = self;
  EXPECT_EQ(assigned.digestName, "sha256");
}

}  // namespace
}  // namespace QVCryptoService
