// Wycheproof known-answer and negative vectors run through the library's wrappers; each test
// checks that it saw every vector of its file.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::ToHex;
using zkJson::Value;

std::vector<std::uint8_t> Bytes(const Value& hex) { return testsupport::FromHex(hex.asString()); }
int Length(const std::vector<std::uint8_t>& bytes) { return static_cast<int>(bytes.size()); }
bool IsValid(const Value& test) { return test["result"].asString() == "valid"; }

// Calls check(group, test) for every vector of ../shared/vectors/wycheproof/<fileName>, each
// traced by its id and comment.
template <typename Check>
void ForEachVector(const std::string& fileName, const Check& check) {
  Value file;
  ASSERT_TRUE(zkJson::Reader().parse(testsupport::ReadFile("../shared/vectors/wycheproof/" + fileName), file));
  int seen = 0;
  for (zkJson::ArrayIndex g = 0; g < file["testGroups"].size(); ++g) {
    const Value& group = file["testGroups"][g];
    for (zkJson::ArrayIndex t = 0; t < group["tests"].size(); ++t) {
      const Value& test = group["tests"][t];
      ++seen;
      SCOPED_TRACE("tcId " + std::to_string(test["tcId"].asInt()) + " (" + test["comment"].asString() + ")");
      check(group, test);
    }
  }
  EXPECT_EQ(seen, file["numberOfTests"].asInt());
}

TEST(Wycheproof, AesCbcPkcs5) {
  ForEachVector("aes_cbc_pkcs5_test.json", [](const Value& group, const Value& test) {
    const std::string cipher = "aes-" + std::to_string(group["keySize"].asInt()) + "-cbc";
    const auto key = Bytes(test["key"]);
    auto iv = Bytes(test["iv"]);
    const auto msg = Bytes(test["msg"]);
    const auto ct = Bytes(test["ct"]);
    std::vector<unsigned char> out(ct.size() + msg.size() + 32);
    int outLen = Length(out);
    const PxaResult decrypted = EVPDecrypt(cipher.c_str(), key.data(), Length(key), iv.data(), Length(iv), ct.data(),
                                           Length(ct), out.data(), outLen);
    if (!IsValid(test)) {
      EXPECT_EQ(decrypted >> 32, PXA_FAMILY_OPENSSL) << decrypted;
      return;
    }
    ASSERT_EQ(decrypted, PXA_OK) << PxaErrorReason(decrypted);
    EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["msg"].asString());
    outLen = Length(out);
    ASSERT_EQ(EVPEncrypt(cipher.c_str(), key.data(), Length(key), iv.data(), Length(iv), msg.data(), Length(msg),
                         out.data(), outLen),
              PXA_OK);
    EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["ct"].asString());
  });
}

TEST(Wycheproof, HmacSha256) {
  ForEachVector("hmac_sha256_test.json", [](const Value& group, const Value& test) {
    const auto key = Bytes(test["key"]);
    const auto msg = Bytes(test["msg"]);
    std::vector<unsigned char> out(64);
    int outLen = Length(out);
    ASSERT_EQ(EVPHMAC("sha256", key.data(), Length(key), msg.data(), Length(msg), out.data(), outLen), PXA_OK);
    ASSERT_EQ(outLen, 32);
    const auto tagBytes = std::min(static_cast<std::size_t>(group["tagSize"].asInt() / 8), std::size_t{32});
    EXPECT_EQ(ToHex(out.data(), tagBytes) == test["tag"].asString(), IsValid(test));
  });
}

TEST(Wycheproof, Pbkdf2HmacSha256) {
  int valid = 0;
  ForEachVector("pbkdf2_hmacsha256_test.json", [&valid](const Value& /*group*/, const Value& test) {
    const auto password = Bytes(test["password"]);
    // The wrapper takes the password as a C string: a zero byte in it cannot be expressed.
    if (std::find(password.begin(), password.end(), 0) != password.end()) {
      return;
    }
    const std::string passwordText(password.begin(), password.end());
    const auto salt = Bytes(test["salt"]);
    std::vector<unsigned char> out(static_cast<std::size_t>(test["dkLen"].asInt()));
    const PxaResult result =
        PBKDF2_HMAC("sha256", passwordText.c_str(), salt.data(), Length(salt),
                    static_cast<std::uint32_t>(test["iterationCount"].asInt()), Length(out), out.data());
    EXPECT_EQ(result == PXA_OK && ToHex(out.data(), out.size()) == test["dk"].asString(), IsValid(test));
    valid += IsValid(test) ? 1 : 0;
  });
  EXPECT_GT(valid, 50);
}

}  // namespace
}  // namespace QVCryptoService
