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

std::string Describe(const JsonNode& test) {
  return "tcId " + std::to_string(test["tcId"].AsInt()) + " (" + test["comment"].text + ")";
}

TEST(Wycheproof, AesCbcPkcs5) {
  const JsonNode file = testsupport::LoadWycheproof("aes_cbc_pkcs5_test.json");
  int seen = 0;
  for (const JsonNode& group : file["testGroups"].items) {
    const std::string cipher = "aes-" + std::to_string(group["keySize"].AsInt()) + "-cbc";
    for (const JsonNode& test : group["tests"].items) {
      ++seen;
      auto key = FromHex(test["key"].text);
      auto iv = FromHex(test["iv"].text);
      const auto msg = FromHex(test["msg"].text);
      const auto ct = FromHex(test["ct"].text);
      std::vector<unsigned char> out(ct.size() + msg.size() + 32);
      int outLen = static_cast<int>(out.size());
      const PxaResult decrypted =
          EVPDecrypt(cipher.c_str(), key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                     ct.data(), static_cast<int>(ct.size()), out.data(), outLen);
      if (!IsValid(test)) {
        EXPECT_EQ(decrypted >> 32, PXA_FAMILY_OPENSSL) << Describe(test) << ": " << decrypted;
        continue;
      }
      ASSERT_EQ(decrypted, PXA_OK) << Describe(test) << ": " << PxaErrorReason(decrypted);
      EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["msg"].text) << Describe(test);
      outLen = static_cast<int>(out.size());
      ASSERT_EQ(EVPEncrypt(cipher.c_str(), key.data(), static_cast<int>(key.size()), iv.data(),
                           static_cast<int>(iv.size()), msg.data(), static_cast<int>(msg.size()), out.data(), outLen),
                PXA_OK)
          << Describe(test);
      EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["ct"].text) << Describe(test);
    }
  }
  EXPECT_EQ(seen, file["numberOfTests"].AsInt());
}

TEST(Wycheproof, HmacSha256) {
  const JsonNode file = testsupport::LoadWycheproof("hmac_sha256_test.json");
  int seen = 0;
  for (const JsonNode& group : file["testGroups"].items) {
    const auto tagBytes = static_cast<std::size_t>(group["tagSize"].AsInt() / 8);
    for (const JsonNode& test : group["tests"].items) {
      ++seen;
      const auto key = FromHex(test["key"].text);
      const auto msg = FromHex(test["msg"].text);
      std::vector<unsigned char> out(64);
      int outLen = static_cast<int>(out.size());
      ASSERT_EQ(EVPHMAC("sha256", key.data(), static_cast<int>(key.size()), msg.data(), static_cast<int>(msg.size()),
                        out.data(), outLen),
                PXA_OK)
          << Describe(test);
      ASSERT_EQ(outLen, 32);
      const bool matches = ToHex(out.data(), std::min(tagBytes, std::size_t{32})) == test["tag"].text;
      EXPECT_EQ(matches, IsValid(test)) << Describe(test);
    }
  }
  EXPECT_EQ(seen, file["numberOfTests"].AsInt());
}

TEST(Wycheproof, Pbkdf2HmacSha256) {
  const JsonNode file = testsupport::LoadWycheproof("pbkdf2_hmacsha256_test.json");
  int seen = 0;
  int valid = 0;
  for (const JsonNode& group : file["testGroups"].items) {
    for (const JsonNode& test : group["tests"].items) {
      ++seen;
      const auto password = FromHex(test["password"].text);
      // The wrapper takes the password as a C string: a zero byte in it cannot be expressed.
      if (std::find(password.begin(), password.end(), 0) != password.end()) {
        continue;
      }
      const std::string passwordText(password.begin(), password.end());
      const auto salt = FromHex(test["salt"].text);
      std::vector<unsigned char> out(static_cast<std::size_t>(test["dkLen"].AsInt()));
      const PxaResult result = PBKDF2_HMAC("sha256", passwordText.c_str(), salt.data(), static_cast<int>(salt.size()),
                                           static_cast<std::uint32_t>(test["iterationCount"].AsInt()),
                                           static_cast<int>(out.size()), out.data());
      const bool matches = result == PXA_OK && ToHex(out.data(), out.size()) == test["dk"].text;
      EXPECT_EQ(matches, IsValid(test)) << Describe(test);
      valid += IsValid(test) ? 1 : 0;
    }
  }
  EXPECT_EQ(seen, file["numberOfTests"].AsInt());
  EXPECT_GT(valid, 50);
}

}  // namespace
}  // namespace QVCryptoService
