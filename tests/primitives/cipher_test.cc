#include <qvcryptoservice/primitives.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(CipherLengths, ReportKnownCiphersAndMinusOneForUnknown) {
  EXPECT_EQ(EVPGetCipherKeyLength("aes-256-cbc"), 32);
  EXPECT_EQ(EVPGetCipherIvLength("aes-256-cbc"), 16);
  EXPECT_EQ(EVPGetCipherBlockSize("aes-256-cbc"), 16);
  EXPECT_EQ(EVPGetCipherKeyLength("aes-128-cbc"), 16);
  EXPECT_EQ(EVPGetCipherBlockSize("aes-256-ctr"), 1);
  for (const char* unknown : {"aes-257-cbc", "", "AES256CBC"}) {
    EXPECT_EQ(EVPGetCipherKeyLength(unknown), -1) << unknown;
    EXPECT_EQ(EVPGetCipherIvLength(unknown), -1) << unknown;
    EXPECT_EQ(EVPGetCipherBlockSize(unknown), -1) << unknown;
  }
  EXPECT_EQ(EVPGetCipherKeyLength(nullptr), -1);
}

// The one-shot core checks in a fixed order: name, key length, IV length, then the buffers.
struct CoreCheckCase {
  const char* name;
  const char* cipher;
  int keyLen;
  int ivLen;
  int outCapacity;
  PxaResult expected;
};

class CipherCoreChecks : public testing::TestWithParam<CoreCheckCase> {};

TEST_P(CipherCoreChecks, RefuseInTheirOrder) {
  const CoreCheckCase& c = GetParam();
  std::array<unsigned char, 64> key{};
  std::array<unsigned char, 32> iv{};
  const std::array<unsigned char, 20> in{};
  std::vector<unsigned char> out(256, 0xAA);
  for (const bool encrypt : {true, false}) {
    int outLen = c.outCapacity;
    const PxaResult result =
        encrypt ? EVPEncrypt(c.cipher, key.data(), c.keyLen, iv.data(), c.ivLen, in.data(), 16, out.data(), outLen)
                : EVPDecrypt(c.cipher, key.data(), c.keyLen, iv.data(), c.ivLen, in.data(), 16, out.data(), outLen);
    EXPECT_EQ(result, c.expected) << c.name << (encrypt ? " (encrypt)" : " (decrypt)");
    EXPECT_EQ(outLen, 0) << c.name;
  }
  EXPECT_EQ(out, std::vector<unsigned char>(256, 0xAA)) << c.name << ": a refused call wrote output";
}

INSTANTIATE_TEST_SUITE_P(OneShot, CipherCoreChecks,
                         testing::ValuesIn(std::to_array<CoreCheckCase>({
                             {"unknown cipher", "aes-256-xyz", 32, 16, 256, PXA_ERR_UNSUPPORTED_CIPHER},
                             {"null cipher name", nullptr, 32, 16, 256, PXA_ERR_UNSUPPORTED_CIPHER},
                             {"16-byte key for aes-256", "aes-256-cbc", 16, 16, 256, PXA_ERR_MISMATCHED_KEY},
                             {"key before IV", "aes-256-cbc", 16, 12, 256, PXA_ERR_MISMATCHED_KEY},
                             {"12-byte IV", "aes-256-cbc", 32, 12, 256, PXA_ERR_INVALID_IV_LEN},
                             {"zero IV length", "aes-128-cbc", 16, 0, 256, PXA_ERR_INVALID_IV_LEN},
                             {"output smaller than input", "aes-256-cbc", 32, 16, 8, PXA_ERR_INVALID_ARGUMENTS},
                             {"negative capacity", "aes-256-cbc", 32, 16, -1, PXA_ERR_INVALID_ARGUMENTS},
                         })),
                         [](const testing::TestParamInfo<CoreCheckCase>& param) {
                           return "Case" + std::to_string(param.index);
                         });

// OpenSSL knows "bf-cbc" by name but only its legacy provider, not loaded here, can run it. Its
// refusal comes first, whether or not the lengths fit: a caller with a wrong key length learns
// that the cipher cannot run at all before learning about the key.
TEST(CipherCore, CipherThatCannotRunIsReportedBeforeLengths) {
  if (EVPGetCipherKeyLength("bf-cbc") != 16) {
    GTEST_SKIP() << "this OpenSSL does not know bf-cbc by name";
  }
  std::array<unsigned char, 32> key{};
  std::array<unsigned char, 16> iv{};
  const std::array<unsigned char, 16> in{};
  std::array<unsigned char, 64> out{};
  for (const int keyLen : {16, 5}) {
    int outLen = static_cast<int>(out.size());
    const PxaResult result = EVPEncrypt("bf-cbc", key.data(), keyLen, iv.data(), 8, in.data(), 16, out.data(), outLen);
    if (result == PXA_OK) {
      GTEST_SKIP() << "the legacy provider is loaded; bf-cbc runs";
    }
    EXPECT_EQ(result >> 32, 2U) << "key length " << keyLen << ": expected OpenSSL's own refusal, got " << result;
  }
}

TEST(CipherCore, EncryptNeedsRoomForPaddingBlock) {
  const std::array<unsigned char, 32> key{};
  std::array<unsigned char, 16> iv{};
  const std::array<unsigned char, 16> in{};
  std::array<unsigned char, 48> out{};
  int outLen = 31;
  EXPECT_EQ(EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16, in.data(), 16, out.data(), outLen),
            PXA_ERR_INVALID_ARGUMENTS);
  outLen = 32;
  EXPECT_EQ(EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16, in.data(), 16, out.data(), outLen), PXA_OK);
  EXPECT_EQ(outLen, 32);
}

TEST(CipherCore, WrongKeyEndsInOpenSslPaddingFailure) {
  // Fixed key, IV and text, so the outcome does not depend on chance: with these inputs every
  // one of the wrong keys below fails the padding check.
  const std::array<unsigned char, 32> key{0x11};
  std::array<unsigned char, 16> iv{0x22};
  const std::string plain(100, 'p');
  std::array<unsigned char, 128> cipherText{};
  int cipherLength = static_cast<int>(cipherText.size());
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16,
                       reinterpret_cast<const unsigned char*>(plain.data()), 100, cipherText.data(), cipherLength),
            PXA_OK);
  ASSERT_EQ(cipherLength, 112);
  for (unsigned char fill = 0x20; fill < 0x28; ++fill) {
    std::array<unsigned char, 32> wrongKey{};
    wrongKey.fill(fill);
    std::array<unsigned char, 128> out{};
    int outLength = static_cast<int>(out.size());
    const PxaResult result = EVPDecrypt("aes-256-cbc", wrongKey.data(), 32, iv.data(), 16, cipherText.data(),
                                        cipherLength, out.data(), outLength);
    EXPECT_EQ(result >> 32, PXA_FAMILY_OPENSSL) << "wrong key filled with " << int{fill} << std::hex << ": " << result;
  }
}

TEST(CipherCore, SecureBlockFormsRoundTripAllLengthsAroundTheBlockSize) {
  SecureBlock key(32);
  ASSERT_TRUE(EVPRandomBytes(key.data(), 32));
  for (std::size_t length = 0; length <= 49; ++length) {
    std::string plain(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
      plain[i] = static_cast<char>(i * 7 + 1);
    }
    std::string iv;
    std::string cipherText;
    ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, iv, plain, cipherText), PXA_OK) << length;
    EXPECT_EQ(cipherText.size(), (length / 16 + 1) * 16) << length;
    std::string decrypted = "stale";
    ASSERT_EQ(EVPDecrypt("aes-256-cbc", key, iv, cipherText, decrypted), PXA_OK) << length;
    EXPECT_EQ(decrypted, plain) << length;
  }
}

TEST(CipherCore, FreshIvEveryCall) {
  SecureBlock key(32, 0x01);
  std::string iv1;
  std::string iv2;
  std::string c1;
  std::string c2;
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, iv1, "same text", c1), PXA_OK);
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, iv2, "same text", c2), PXA_OK);
  EXPECT_NE(iv1, iv2);
  EXPECT_NE(c1, c2);
}

TEST(CipherCore, SecureBlockFormsReportTheCoresRefusals) {
  std::string iv;
  std::string cipherText = "untouched";
  EXPECT_EQ(EVPEncrypt("no-such-cipher", SecureBlock(32), iv, "x", cipherText), PXA_ERR_UNSUPPORTED_CIPHER);
  EXPECT_EQ(cipherText, "untouched");
  EXPECT_EQ(EVPEncrypt("aes-256-cbc", SecureBlock(16), iv, "x", cipherText), PXA_ERR_MISMATCHED_KEY);
  EXPECT_TRUE(cipherText.empty());
  std::string plain = "stale";
  EXPECT_EQ(EVPDecrypt("aes-256-cbc", SecureBlock(32), std::string(12, 'i'), std::string(16, 'c'), plain),
            PXA_ERR_INVALID_IV_LEN);
  EXPECT_TRUE(plain.empty());
  // Cipher text that is not a whole number of blocks fails in OpenSSL.
  plain = "stale";
  const PxaResult ragged =
      EVPDecrypt("aes-256-cbc", SecureBlock(32), std::string(16, 'i'), std::string(17, 'c'), plain);
  EXPECT_EQ(ragged >> 32, PXA_FAMILY_OPENSSL);
}

struct DigestCase {
  const char* digest;
  const char* hexOfAbc;
};

TEST(Digests, KnownAnswersAndRefusals) {
  const auto* abc = reinterpret_cast<const unsigned char*>("abc");
  for (const DigestCase& c : std::to_array<DigestCase>({
           {"sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
           {"sha1", "a9993e364706816aba3e25717850c26c9cd0d89d"},
           {"sha512",
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
            "454d4423643ce80e2a9ac94fa54ca49f"},
       })) {
    std::array<unsigned char, 64> out{};
    int outLen = static_cast<int>(out.size());
    ASSERT_EQ(EVPDigest(c.digest, abc, 3, out.data(), outLen), PXA_OK) << c.digest;
    std::string hex;
    for (int i = 0; i < outLen; ++i) {
      static const char kDigits[] = "0123456789abcdef";
      hex += kDigits[out[static_cast<std::size_t>(i)] >> 4];
      hex += kDigits[out[static_cast<std::size_t>(i)] & 15];
    }
    EXPECT_EQ(hex, c.hexOfAbc) << c.digest;
  }
  std::array<unsigned char, 64> out{};
  int outLen = 64;
  EXPECT_EQ(EVPDigest("sha999", abc, 3, out.data(), outLen), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(EVPHMAC("sha999", abc, 3, abc, 3, out.data(), outLen), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(PBKDF2_HMAC("sha999", "pw", abc, 3, 1, 32, out.data()), PXA_ERR_UNSUPPORTED_DIGEST);
  outLen = 31;
  EXPECT_EQ(EVPDigest("sha256", abc, 3, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(EVPHMAC("sha256", abc, 3, abc, 3, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  outLen = 64;
  EXPECT_EQ(EVPDigest("sha256", abc, -1, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  // Zero iterations is OpenSSL's refusal, reported in its family.
  EXPECT_EQ(PBKDF2_HMAC("sha256", "pw", abc, 3, 0, 32, out.data()) >> 32, PXA_FAMILY_OPENSSL);
}

TEST(Digests, EmptyInputAndEmptyKeyAreValid) {
  std::array<unsigned char, 32> out{};
  int outLen = 32;
  ASSERT_EQ(EVPDigest("sha256", nullptr, 0, out.data(), outLen), PXA_OK);
  EXPECT_EQ(out[0], 0xe3);  // SHA-256 of nothing starts e3b0c442
  EXPECT_EQ(out[1], 0xb0);
  outLen = 32;
  ASSERT_EQ(EVPHMAC("sha256", nullptr, 0, nullptr, 0, out.data(), outLen), PXA_OK);
  EXPECT_EQ(out[0], 0xb6);  // HMAC-SHA256 with empty key and message starts b613679a
  EXPECT_EQ(out[1], 0x13);
}

TEST(RandomBytes, FillTheRequestedBytesOnly) {
  std::array<unsigned char, 40> buffer{};
  ASSERT_TRUE(EVPRandomIV(buffer.data(), 32));
  EXPECT_EQ(buffer[32], 0);
  EXPECT_EQ(buffer[39], 0);
  std::array<unsigned char, 32> other{};
  ASSERT_TRUE(EVPRandomSalt(other.data(), 32));
  EXPECT_NE(std::memcmp(buffer.data(), other.data(), 32), 0);
  EXPECT_FALSE(EVPRandomBytes(buffer.data(), 0x80000000U)) << "a count OpenSSL cannot take is refused";
  EXPECT_FALSE(EVPRandomBytes(nullptr, 4));
}

}  // namespace
}  // namespace QVCryptoService
