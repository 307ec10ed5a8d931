// The upgrade check: every verdict on hand-made texts (tests/data/hygiene_record_checks.tsv), on
// texts the library makes, and through the C function.

#include "platform/task_memory.h"
#include "tests/support/data_table.h"
#include "tests/support/test_keystore.h"

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/record_hygiene.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace QVCryptoService;

class RecordCheckTest : public testing::Test {
 protected:
  void SetUp() override {
    (void)InitLibrary();
    auto keystore = std::make_shared<testsupport::TestKeystore>();
    for (const char* name : {"QV_ENCYPT_DECRYPT_0", "QV_HMAC_INTEGRITY_0", "halted"}) {
      const std::string algorithm = std::string(name) == "QV_HMAC_INTEGRITY_0" ? "sha256" : "aes-256-cbc";
      keystore->AddKey(name, 1, SecureBlock(32, 1), algorithm, 3);
      if (std::string(name) != "halted") {
        keystore->AddKey(name, 2, SecureBlock(32, 2), algorithm, 2);
      }
    }
    (void)SetKeystore(kDefaultKeystoreName, keystore);
    (void)SetKeystore("builtin", std::make_shared<QVKeystoreStatic>());
  }
  void TearDown() override { (void)SetKeystore(kDefaultKeystoreName, std::make_shared<QVKeystoreStatic>()); }

  static void Expect(const RecordCheck& check, const std::string& kind, const std::string& verdict,
                     const std::string& reason, const std::string& where) {
    EXPECT_EQ(RecordKindName(check.kind), kind) << where;
    EXPECT_EQ(RecordVerdictName(check.verdict), verdict) << where;
    if (reason == "-") {
      EXPECT_TRUE(check.reasons.empty()) << where << ": " << check.reasons.front();
    } else {
      ASSERT_EQ(check.reasons.size(), 1u) << where;
      EXPECT_NE(check.reasons.front().find(reason), std::string::npos) << where << ": " << check.reasons.front();
    }
  }
};

TEST_F(RecordCheckTest, HandMadeTexts) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("hygiene_record_checks.tsv")) {
    const std::string json = row["text"] + "\n";
    const std::string text = row["form"] == "record"
                                 ? base64_encode(reinterpret_cast<const unsigned char*>(json.data()),
                                                 static_cast<std::uint32_t>(json.size()))
                                 : row["text"];
    RecordPolicy policy;
    ASSERT_TRUE(RecordPolicyFromJson(row["policy"], policy)) << row.where;
    Expect(CheckRecord(text, policy), row["kind"], row["verdict"], row["reason"], row.where);
  }
}

TEST_F(RecordCheckTest, TextsTheLibraryMakes) {
  std::string keystoreText, demoText, passwordText, passwordHash, argon2idHash, digest, checksum, hmac;
  ASSERT_EQ(EncryptData("plain", keystoreText, ""), PXA_OK);
  ASSERT_EQ(EncryptData("plain", demoText, "builtin"), PXA_OK);
  ASSERT_EQ(EncryptWithPassword("plain", "pw", passwordText), PXA_OK);
  ASSERT_EQ(CreatePasswordHash("pw", passwordHash), PXA_OK);
  ASSERT_EQ(CreatePasswordHashArgon2id("pw", argon2idHash), PXA_OK);
  ASSERT_EQ(CreateDigest("data", digest), PXA_OK);
  ASSERT_EQ(CreateChecksum("data", checksum), PXA_OK);
  ASSERT_EQ(CreateHMAC("data", hmac), PXA_OK);
  const RecordPolicy policy;
  Expect(CheckRecord(keystoreText, policy), "keystore cipher text", "current", "-", "EncryptData");
  Expect(CheckRecord(demoText, policy), "keystore cipher text", "re-make", "built-in demo key", "demo key");
  Expect(CheckRecord(passwordText, policy), "password cipher text", "current", "-", "EncryptWithPassword");
  Expect(CheckRecord(passwordHash, policy), "pbkdf2 password hash", "current", "-", "CreatePasswordHash");
  Expect(CheckRecord(argon2idHash, policy), "argon2id password hash", "current", "-", "Argon2id");
  Expect(CheckRecord(digest, policy), "digest", "current", "-", "CreateDigest");
  Expect(CheckRecord(checksum, policy), "checksum", "current", "-", "CreateChecksum");
  Expect(CheckRecord(hmac, policy), "hmac", "current", "-", "CreateHMAC");
  const RecordCheck check = CheckRecord(keystoreText, policy);
  EXPECT_EQ(std::tie(check.keyName, check.keyVersion, check.keyState, check.activeVersion),
            std::make_tuple(std::string("QV_ENCYPT_DECRYPT_0"), 2, 2, 2));
}

TEST_F(RecordCheckTest, TheCFunctionAnswersTheVerdictAndItsJson) {
  std::string hash;
  ASSERT_EQ(CreatePasswordHash("pw", hash), PXA_OK);
  char* json = nullptr;
  ASSERT_EQ(QVCheckRecord(hash.c_str(), R"({"prefer":"argon2id","minIterations":20000})", &json), 1);
  EXPECT_STREQ(json, R"({"kind":"pbkdf2 password hash","reasons":["PBKDF2 work factor 10000 iterations is below the )"
                     R"(policy's 20000","password hash is PBKDF2; the policy prefers Argon2id"],"verdict":"re-make"})");
  platform::FreeCallerMemory(json);
  json = nullptr;
  for (const char* policy : {"[]", R"({"prefer":"md5"})", R"({"minIterations":0})", R"({"colour":1})", "{"}) {
    EXPECT_EQ(QVCheckRecord(hash.c_str(), policy, &json), -1) << policy;
  }
  EXPECT_EQ(QVCheckRecord(nullptr, nullptr, &json), -1);
  EXPECT_EQ(json, nullptr);
}

}  // namespace
