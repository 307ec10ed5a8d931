// Wycheproof known-answer and negative vectors run through the library's wrappers; each test
// checks that it saw every vector of its file.

#include <qvcryptoservice/primitives.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::FromHex;
using testsupport::JsonNode;
using testsupport::ToHex;

bool IsValid(const JsonNode& test) { return test["result"].text == "valid"; }

// Calls check(group, test) for every vector of the file, each traced by its id and comment.
template <typename Check>
void ForEachVector(const std::string& fileName, const Check& check) {
  const JsonNode file = testsupport::LoadWycheproof(fileName);
  int seen = 0;
  for (const JsonNode& group : file["testGroups"].items) {
    for (const JsonNode& test : group["tests"].items) {
      ++seen;
      SCOPED_TRACE("tcId " + std::to_string(test["tcId"].AsInt()) + " (" + test["comment"].text + ")");
      check(group, test);
    }
  }
  EXPECT_EQ(seen, file["numberOfTests"].AsInt());
}

TEST(Wycheproof, AesCbcPkcs5) {
  ForEachVector("aes_cbc_pkcs5_test.json", [](const JsonNode& group, const JsonNode& test) {
    const std::string cipher = "aes-" + std::to_string(group["keySize"].AsInt()) + "-cbc";
    const auto key = FromHex(test["key"].text);
    auto iv = FromHex(test["iv"].text);
    const auto msg = FromHex(test["msg"].text);
    const auto ct = FromHex(test["ct"].text);
    std::vector<unsigned char> out(ct.size() + msg.size() + 32);
    int outLen = static_cast<int>(out.size());
    const PxaResult decrypted =
        EVPDecrypt(cipher.c_str(), key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                   ct.data(), static_cast<int>(ct.size()), out.data(), outLen);
    if (!IsValid(test)) {
      EXPECT_EQ(decrypted >> 32, PXA_FAMILY_OPENSSL) << decrypted;
      return;
    }
    ASSERT_EQ(decrypted, PXA_OK) << PxaErrorReason(decrypted);
    EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["msg"].text);
    outLen = static_cast<int>(out.size());
    ASSERT_EQ(EVPEncrypt(cipher.c_str(), key.data(), static_cast<int>(key.size()), iv.data(),
                         static_cast<int>(iv.size()), msg.data(), static_cast<int>(msg.size()), out.data(), outLen),
              PXA_OK);
    EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["ct"].text);
  });
}

TEST(Wycheproof, HmacSha256) {
  ForEachVector("hmac_sha256_test.json", [](const JsonNode& group, const JsonNode& test) {
    const auto key = FromHex(test["key"].text);
    const auto msg = FromHex(test["msg"].text);
    std::vector<unsigned char> out(64);
    int outLen = static_cast<int>(out.size());
    ASSERT_EQ(EVPHMAC("sha256", key.data(), static_cast<int>(key.size()), msg.data(), static_cast<int>(msg.size()),
                      out.data(), outLen),
              PXA_OK);
    ASSERT_EQ(outLen, 32);
    const auto tagBytes = std::min(static_cast<std::size_t>(group["tagSize"].AsInt() / 8), std::size_t{32});
    EXPECT_EQ(ToHex(out.data(), tagBytes) == test["tag"].text, IsValid(test));
  });
}

TEST(Wycheproof, Pbkdf2HmacSha256) {
  int valid = 0;
  ForEachVector("pbkdf2_hmacsha256_test.json", [&valid](const JsonNode& /*group*/, const JsonNode& test) {
    const auto password = FromHex(test["password"].text);
    // The wrapper takes the password as a C string: a zero byte in it cannot be expressed.
    if (std::find(password.begin(), password.end(), 0) != password.end()) {
      return;
    }
    const std::string passwordText(password.begin(), password.end());
    const auto salt = FromHex(test["salt"].text);
    std::vector<unsigned char> out(static_cast<std::size_t>(test["dkLen"].AsInt()));
    const PxaResult result = PBKDF2_HMAC("sha256", passwordText.c_str(), salt.data(), static_cast<int>(salt.size()),
                                         static_cast<std::uint32_t>(test["iterationCount"].AsInt()),
                                         static_cast<int>(out.size()), out.data());
    EXPECT_EQ(result == PXA_OK && ToHex(out.data(), out.size()) == test["dk"].text, IsValid(test));
    valid += IsValid(test) ? 1 : 0;
  });
  EXPECT_GT(valid, 50);
}

}  // namespace
}  // namespace QVCryptoService
