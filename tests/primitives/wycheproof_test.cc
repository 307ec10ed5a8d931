// Wycheproof known-answer and negative vectors run through the library's wrappers. Each test
// prints how many valid and invalid vectors it checked, and how many it could not apply.

#include <qvcryptoservice/primitives.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::FromHex;
using testsupport::JsonNode;
using testsupport::ToHex;

struct Tally {
  int valid = 0;
  int invalid = 0;
  int skipped = 0;

  void Print(const char* what) const {
    std::cout << "wycheproof " << what << ": " << valid << " valid passed, " << invalid << " invalid rejected, "
              << skipped << " not applicable" << std::endl;
  }
};

bool IsValid(const JsonNode& test) { return test["result"].text == "valid"; }

std::string Describe(const JsonNode& test) {
  return "tcId " + std::to_string(test["tcId"].AsInt()) + " (" + test["comment"].text + ")";
}

TEST(Wycheproof, AesCbcPkcs5) {
  const JsonNode file = testsupport::LoadWycheproof("aes_cbc_pkcs5_test.json");
  Tally tally;
  for (const JsonNode& group : file["testGroups"].items) {
    const std::string cipher = "aes-" + std::to_string(group["keySize"].AsInt()) + "-cbc";
    for (const JsonNode& test : group["tests"].items) {
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
        EXPECT_NE(decrypted, PXA_OK) << Describe(test) << " decrypted although invalid";
        EXPECT_EQ(decrypted >> 32, PXA_FAMILY_OPENSSL) << Describe(test);
        ++tally.invalid;
        continue;
      }
      ASSERT_EQ(decrypted, PXA_OK) << Describe(test) << ": " << PxaErrorReason(decrypted);
      EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["msg"].text) << Describe(test);
      outLen = static_cast<int>(out.size());
      const PxaResult encrypted =
          EVPEncrypt(cipher.c_str(), key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                     msg.data(), static_cast<int>(msg.size()), out.data(), outLen);
      ASSERT_EQ(encrypted, PXA_OK) << Describe(test);
      EXPECT_EQ(ToHex(out.data(), static_cast<std::size_t>(outLen)), test["ct"].text) << Describe(test);
      ++tally.valid;
    }
  }
  tally.Print("AES-CBC-PKCS5");
  EXPECT_EQ(tally.valid + tally.invalid, file["numberOfTests"].AsInt());
}

TEST(Wycheproof, HmacSha256) {
  const JsonNode file = testsupport::LoadWycheproof("hmac_sha256_test.json");
  Tally tally;
  for (const JsonNode& group : file["testGroups"].items) {
    const auto tagBytes = static_cast<std::size_t>(group["tagSize"].AsInt() / 8);
    for (const JsonNode& test : group["tests"].items) {
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
      if (IsValid(test)) {
        EXPECT_TRUE(matches) << Describe(test);
        ++tally.valid;
      } else {
        EXPECT_FALSE(matches) << Describe(test) << " matched a tag marked invalid";
        ++tally.invalid;
      }
    }
  }
  tally.Print("HMAC-SHA256");
  EXPECT_EQ(tally.valid + tally.invalid, file["numberOfTests"].AsInt());
}

TEST(Wycheproof, Pbkdf2HmacSha256) {
  const JsonNode file = testsupport::LoadWycheproof("pbkdf2_hmacsha256_test.json");
  Tally tally;
  for (const JsonNode& group : file["testGroups"].items) {
    for (const JsonNode& test : group["tests"].items) {
      const auto password = FromHex(test["password"].text);
      // The wrapper takes the password as a C string; vectors with a zero byte in it cannot be
      // expressed through it.
      if (std::find(password.begin(), password.end(), 0) != password.end()) {
        ++tally.skipped;
        continue;
      }
      const std::string passwordText(password.begin(), password.end());
      const auto salt = FromHex(test["salt"].text);
      const auto dkLen = static_cast<int>(test["dkLen"].AsInt());
      std::vector<unsigned char> out(static_cast<std::size_t>(dkLen));
      const PxaResult result =
          PBKDF2_HMAC("sha256", passwordText.c_str(), salt.data(), static_cast<int>(salt.size()),
                      static_cast<std::uint32_t>(test["iterationCount"].AsInt()), dkLen, out.data());
      if (IsValid(test)) {
        ASSERT_EQ(result, PXA_OK) << Describe(test);
        EXPECT_EQ(ToHex(out.data(), out.size()), test["dk"].text) << Describe(test);
        ++tally.valid;
      } else {
        EXPECT_TRUE(result != PXA_OK || ToHex(out.data(), out.size()) != test["dk"].text) << Describe(test);
        ++tally.invalid;
      }
    }
  }
  tally.Print("PBKDF2-HMAC-SHA256");
  EXPECT_EQ(tally.valid + tally.invalid + tally.skipped, file["numberOfTests"].AsInt());
  EXPECT_GT(tally.valid, 50);
}

}  // namespace
}  // namespace QVCryptoService
