#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvhashing.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::FromHex;

const std::string kData = "the data to protect";
const auto* kBytes = reinterpret_cast<const std::uint8_t*>(kData.data());

std::vector<std::uint8_t> Sha256(const std::vector<std::uint8_t>& input) {
  std::array<unsigned char, 32> out{};
  int length = 32;
  EXPECT_EQ(EVPDigest("sha256", input.data(), static_cast<int>(input.size()), out.data(), length), PXA_OK);
  return {out.begin(), out.end()};
}

TEST(SaltedDigest, IsTheDigestOfSaltThenInnerDigest) {
  const QVHashing engine;
  HashingData_t record;
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), record), PXA_OK);
  EXPECT_EQ(record.version, 1);
  EXPECT_EQ(record.iterations, 0);
  EXPECT_EQ(record.digestName, "sha256");
  ASSERT_EQ(record.salt.size(), 16U);
  std::vector<std::uint8_t> saltThenInner = record.salt;
  const std::vector<std::uint8_t> inner = Sha256({kData.begin(), kData.end()});
  saltThenInner.insert(saltThenInner.end(), inner.begin(), inner.end());
  EXPECT_EQ(record.digest, Sha256(saltThenInner));
}

TEST(SaltedDigest, FreshSaltEachTimeAndBothValidate) {
  const QVHashing engine;
  std::string first;
  std::string second;
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), first), PXA_OK);
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), second), PXA_OK);
  EXPECT_NE(first, second);
  EXPECT_TRUE(engine.validateDigest("sha256", kBytes, kData.size(), first));
  EXPECT_TRUE(engine.validateDigest("sha256", kBytes, kData.size(), second));
}

TEST(Checksum, IsThePlainDigestAndReproducible) {
  const QVHashing engine;
  std::string first;
  std::string second;
  ASSERT_EQ(engine.generateCheckSum("sha256", kBytes, kData.size(), first), PXA_OK);
  ASSERT_EQ(engine.generateCheckSum("sha256", kBytes, kData.size(), second), PXA_OK);
  EXPECT_EQ(first, second);
  HashingData_t record;
  ASSERT_TRUE(DeserializeHashingData(record, first));
  EXPECT_EQ(record.digest, Sha256({kData.begin(), kData.end()}));
  EXPECT_TRUE(record.salt.empty());
}

// Each generated kind, changed in one way, must stop validating.
TEST(Validation, RefusesChangedDataOtherDigestNamesAndChangedRecords) {
  const QVHashing engine;
  std::string changed = kData;
  changed[3] ^= 0x01;
  const auto* changedBytes = reinterpret_cast<const std::uint8_t*>(changed.data());
  HashingData_t digest;
  HashingData_t checksum;
  HashingData_t password;
  ASSERT_EQ(engine.generateDigest("sha256", kBytes, kData.size(), digest), PXA_OK);
  ASSERT_EQ(engine.generateCheckSum("sha256", kBytes, kData.size(), checksum), PXA_OK);
  ASSERT_EQ(engine.generatePasswordHash("sha256", kData, password), PXA_OK);

  EXPECT_FALSE(engine.validateDigest("sha256", changedBytes, changed.size(), digest));
  EXPECT_FALSE(engine.validateCheckSum("sha256", changedBytes, changed.size(), checksum));
  EXPECT_FALSE(engine.validatePasswordHash("sha256", changed, password));
  EXPECT_FALSE(engine.validateDigest("sha512", kBytes, kData.size(), digest));
  EXPECT_FALSE(engine.validateCheckSum("SHA256", kBytes, kData.size(), checksum));
  EXPECT_FALSE(engine.validatePasswordHash("sha1", kData, password));
  const std::vector<std::pair<HashingData_t, std::function<bool(const HashingData_t&)>>> kinds = {
      {digest, [&](const HashingData_t& r) { return engine.validateDigest("sha256", kBytes, kData.size(), r); }},
      {checksum, [&](const HashingData_t& r) { return engine.validateCheckSum("sha256", kBytes, kData.size(), r); }},
      {password, [&](const HashingData_t& r) { return engine.validatePasswordHash("sha256", kData, r); }},
  };
  for (const auto& [record, validate] : kinds) {
    ASSERT_TRUE(validate(record)) << record.digestName;
    for (std::size_t i = 0; i < record.digest.size(); ++i) {
      HashingData_t flipped = record;
      flipped.digest[i] ^= 0x80;
      EXPECT_FALSE(validate(flipped)) << "digest byte " << i;
    }
    for (std::size_t i = 0; i < record.salt.size(); ++i) {
      HashingData_t flipped = record;
      flipped.salt[i] ^= 0x01;
      EXPECT_FALSE(validate(flipped)) << "salt byte " << i;
    }
    // A password-hash record sets the output length itself, so only the other two can be cut.
    if (record.iterations == 0) {
      HashingData_t shorter = record;
      shorter.digest.pop_back();
      EXPECT_FALSE(validate(shorter));
    }
  }
  HashingData_t truncatedPasswordHash = password;
  truncatedPasswordHash.digest.resize(20);
  EXPECT_TRUE(engine.validatePasswordHash("sha256", kData, truncatedPasswordHash));
  HashingData_t noIterations = password;
  noIterations.iterations = 0;
  EXPECT_FALSE(engine.validatePasswordHash("sha256", kData, noIterations));
  EXPECT_TRUE(engine.validatePasswordHash("sha256", kData, password));
}

TEST(Validation, UnknownDigestNamesFailOpen) {
  // A record naming a digest OpenSSL does not know validates under that same name, whatever the
  // data: long-standing behaviour that stored records rely on.
  const QVHashing engine;
  HashingData_t record;
  record.version = 1;
  record.iterations = 5;
  record.digestName = "no-such-digest";
  record.digest = {1, 2, 3};
  EXPECT_TRUE(engine.validateDigest("no-such-digest", kBytes, kData.size(), record));
  EXPECT_TRUE(engine.validateCheckSum("no-such-digest", kBytes, kData.size(), record));
  EXPECT_TRUE(engine.validatePasswordHash("no-such-digest", "anything", record));
}

TEST(Generation, UnknownDigestReturnsFourAndLeavesOutputsAlone) {
  const QVHashing engine;
  std::string text = "untouched";
  HashingData_t record;
  record.digestName = "kept";
  EXPECT_EQ(engine.generateDigest("sha-what", kBytes, kData.size(), text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateCheckSum("sha-what", kBytes, kData.size(), text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generatePasswordHash("sha-what", "pw", text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateDerivedKey("sha-what", "pw", text), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateDigest("sha-what", kBytes, kData.size(), record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generateCheckSum("sha-what", kBytes, kData.size(), record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(engine.generatePasswordHash("sha-what", "pw", record), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(record.digestName, "kept");
  EXPECT_EQ(record.version, 0);
  EXPECT_EQ(engine.generateDerivedKey("sha256", "", text), PXA_ERR_INVALID_ARGUMENTS) << "empty password";
  EXPECT_EQ(engine.generateCheckSum("sha256", kBytes, std::uint64_t{1} << 31, text), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(text, "untouched");
}

struct DerivedKeyCase {
  const char* password;
  const char* keyBase64;  // PBKDF2-HMAC-SHA256(password, password repeated to 16 bytes, 10000, 32)
};

TEST(DerivedKey, SaltIsThePasswordRepeatedAndTheKeyIsStable) {
  const QVHashing engine;
  for (const DerivedKeyCase& c : {DerivedKeyCase{"abc", "qUr6n5GGtv+vkVpIQKESktRzPwXPEEWXxsE4O/UtFJw="},
                                  DerivedKeyCase{"correct horse", "auXU/1teWuBsIMo6NAG0AvAFSxTe7qE3jOS0ywOUDbc="}}) {
    std::string first;
    std::string second;
    ASSERT_EQ(engine.generateDerivedKey("sha256", c.password, first), PXA_OK);
    ASSERT_EQ(engine.generateDerivedKey("sha256", c.password, second), PXA_OK);
    EXPECT_EQ(first, c.keyBase64) << c.password;
    EXPECT_EQ(first, second);
  }
}

TEST(PasswordHash, AgreesWithWycheproofPbkdf2Vectors) {
  // Records built from the vectors' salt, count and output must validate, and fail once the
  // password changes. Counts above 4096 are left out to keep the suite quick.
  const QVHashing engine;
  const testsupport::JsonNode file = testsupport::LoadWycheproof("pbkdf2_hmacsha256_test.json");
  int checked = 0;
  for (const testsupport::JsonNode& group : file["testGroups"].items) {
    for (const testsupport::JsonNode& test : group["tests"].items) {
      const auto password = FromHex(test["password"].text);
      if (std::find(password.begin(), password.end(), 0) != password.end() || test["iterationCount"].AsInt() > 4096 ||
          test["result"].text != "valid") {
        continue;
      }
      HashingData_t record;
      record.version = 1;
      record.digestName = "sha256";
      record.iterations = static_cast<std::int32_t>(test["iterationCount"].AsInt());
      record.salt = FromHex(test["salt"].text);
      record.digest = FromHex(test["dk"].text);
      const std::string passwordText(password.begin(), password.end());
      EXPECT_TRUE(engine.validatePasswordHash("sha256", passwordText, record)) << test["tcId"].AsInt();
      EXPECT_FALSE(engine.validatePasswordHash("sha256", passwordText + "x", record)) << test["tcId"].AsInt();
      ++checked;
    }
  }
  EXPECT_GT(checked, 50);
}

TEST(PasswordHash, PasswordEndsAtItsFirstZeroByte) {
  const QVHashing engine;
  HashingData_t record;
  ASSERT_EQ(engine.generatePasswordHash("sha256", std::string("secret\0ignored", 14), record), PXA_OK);
  EXPECT_EQ(record.iterations, 10000);
  EXPECT_EQ(record.salt.size(), 16U);
  EXPECT_EQ(record.digest.size(), 32U);
  EXPECT_TRUE(engine.validatePasswordHash("sha256", "secret", record));
  EXPECT_TRUE(engine.validatePasswordHash("sha256", std::string("secret\0other", 12), record));
  std::string text;
  ASSERT_EQ(engine.generatePasswordHash("sha256", "secret", text), PXA_OK);
  EXPECT_TRUE(engine.validatePasswordHash("sha256", "secret", text));
  EXPECT_FALSE(engine.validatePasswordHash("sha256", "Secret", text));
  EXPECT_FALSE(engine.validatePasswordHash("sha256", "secret", "not a record"));
}

}  // namespace
}  // namespace QVCryptoService
