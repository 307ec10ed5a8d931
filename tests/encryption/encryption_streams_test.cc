// The streaming forms of encryption give the one-call forms' texts and answers.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/encryption_streams.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/zkjson.h>

#include "encryption/stream_steps.h"
#include "json/record_text.h"
#include "tests/support/data_table.h"
#include "tests/support/piece_source.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using Bytes = std::vector<std::uint8_t>;

using testsupport::PieceSource;

class StringSink : public ByteSink {
 public:
  bool Write(std::span<const std::uint8_t> data) override {
    text.append(data.begin(), data.end());
    return true;
  }
  std::string text;
};

std::string Text(const SecureBlock& block) { return {block.begin(), block.end()}; }

class EncryptionStreams : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

// Known answers: the text is the JSON writer's record around the vector's cipher text, however
// the plain text arrives, and the one-call serializer writes the same.
TEST_F(EncryptionStreams, TextsAreTheRecordsOfKnownCipherTexts) {
  zkJson::Value file;
  ASSERT_TRUE(
      zkJson::Reader().parse(testsupport::ReadFile("../shared/vectors/wycheproof/aes_cbc_pkcs5_test.json"), file));
  int seen = 0;
  for (zkJson::ArrayIndex g = 0; g < file["testGroups"].size(); ++g) {
    const zkJson::Value& group = file["testGroups"][g];
    for (zkJson::ArrayIndex t = 0; t < group["tests"].size(); ++t) {
      const zkJson::Value& test = group["tests"][t];
      if (test["result"].asString() != "valid") {
        continue;
      }
      const Bytes key = testsupport::FromHex(test["key"].asString());
      const Bytes msg = testsupport::FromHex(test["msg"].asString());
      const std::string plain(msg.begin(), msg.end());
      const Bytes cipherText = testsupport::FromHex(test["ct"].asString());
      CipherMeta_t meta;
      meta.version = 1;
      meta.cipherName = "aes-" + std::to_string(key.size() * 8) + "-cbc";
      meta.iv = testsupport::FromHex(test["iv"].asString());
      meta.keyName = "k";
      meta.keyVersion = test["tcId"].asInt();
      const std::string expected = WrapRecordText(CipherToJsonStr(meta, cipherText));
      EXPECT_EQ(SeralizeCipherData(meta, cipherText), expected) << test["tcId"].asInt();
      for (const std::size_t step : {std::size_t{1}, std::size_t{5}, plain.size() + 1}) {
        PieceSource source(plain, step);
        StringSink sink;
        ASSERT_EQ(EncryptStreamUnder(SecureBlock(key.begin(), key.end()), meta, source, sink), PXA_OK);
        EXPECT_EQ(sink.text, expected) << test["tcId"].asInt() << " in pieces of " << step;
      }
      ++seen;
    }
  }
  EXPECT_GT(seen, 50);
}

// Every text, in pieces of any size, gets the answer and plain text of the one-call function.
TEST_F(EncryptionStreams, DecryptionAnswersEveryTextAsTheOneCallFunction) {
  std::string expectedPlain = "stream me: ";
  for (int run = 0; run < 3; ++run) {
    for (int byte = 0; byte < 256; ++byte) {
      expectedPlain += static_cast<char>(byte);
    }
  }
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("crypto_stream_texts.tsv")) {
    SecureBlock plain;
    const PxaResult oneCall = DecryptWithPassword(row["text"], "pw", plain);
    EXPECT_EQ(oneCall == PXA_OK, row["decrypts"] == "1") << row.where << ": " << row["case"];
    if (oneCall == PXA_OK) {
      EXPECT_EQ(Text(plain), row["case"] == "an empty plain text" ? "" : expectedPlain) << row.where;
    }
    for (const std::size_t step : {std::size_t{1}, std::size_t{3}, std::size_t{1} << 20}) {
      PieceSource source(row["text"], step);
      StringSink sink;
      EXPECT_EQ(DecryptWithPasswordStream(source, "pw", sink), oneCall) << row.where << ", pieces of " << step;
      if (oneCall == PXA_OK) {
        EXPECT_EQ(sink.text, Text(plain)) << row.where << ", pieces of " << step;
      } else {
        EXPECT_EQ(sink.text.find(expectedPlain), std::string::npos) << row.where;
      }
    }
  }
}

// End to end: texts of several pieces made by the streams read back with the one-call
// functions and the streams alike; a failing source or sink ends the call.
TEST_F(EncryptionStreams, LargeTextsRoundTripAndFailingEndsStop) {
  std::string plain(3 * (1 << 20) + 5, '\0');
  for (std::size_t i = 0; i < plain.size(); ++i) {
    plain[i] = static_cast<char>(i * 7 + i / 251);
  }
  for (const bool withPassword : {false, true}) {
    SCOPED_TRACE(withPassword ? "password" : "keystore");
    PieceSource source(plain, 700000);
    StringSink text;
    ASSERT_EQ(withPassword ? EncryptWithPasswordStream(source, "pw", text) : EncryptDataStream(source, text, ""),
              PXA_OK);
    SecureBlock oneCall;
    ASSERT_EQ(withPassword ? DecryptWithPassword(text.text, "pw", oneCall) : DecryptData(text.text, oneCall, ""),
              PXA_OK);
    EXPECT_TRUE(Text(oneCall) == plain);
    PieceSource textSource(text.text, 300000);
    StringSink decrypted;
    ASSERT_EQ(withPassword ? DecryptWithPasswordStream(textSource, "pw", decrypted)
                           : DecryptDataStream(textSource, decrypted, ""),
              PXA_OK);
    EXPECT_TRUE(decrypted.text == plain);
  }
  struct FailingEnd : ByteSource, ByteSink {
    bool Read(std::span<std::uint8_t>, std::size_t&) override { return false; }
    bool Write(std::span<const std::uint8_t>) override { return false; }
  } failing;
  PieceSource source(plain, plain.size());
  EXPECT_EQ(EncryptWithPasswordStream(failing, "pw", failing), PXA_ERR_UNSPECIFIED);
  EXPECT_EQ(EncryptDataStream(source, failing, ""), PXA_ERR_UNSPECIFIED);
  StringSink sink;
  EXPECT_EQ(DecryptDataStream(failing, sink, ""), PXA_ERR_UNSPECIFIED);
  EXPECT_EQ(EncryptDataStream(source, sink, "NoSuchKeystore"), ~PxaResult{0});
}

}  // namespace
}  // namespace QVCryptoService
