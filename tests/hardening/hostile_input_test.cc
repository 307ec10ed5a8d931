// Every exported function that takes text or bytes, fed what nobody should send it: nothing,
// one byte, 300 MB, text that is not base64, base64 of something that is not JSON, JSON of the
// wrong shape, members of the wrong type, numbers beyond 32 bits, nesting 100000 deep, and NUL
// bytes inside otherwise good input. Each function must give its documented answer for each
// (a result code, false, or an empty output) and return; a crash, a hang or a sanitizer report
// fails the run. Time and memory are bounded by the test's CTest timeout and by the one shared
// 300 MB buffer, which only functions that read their input once and keep nothing of it get.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>
#include <qvcryptoservice/zkjson_reader.h>

#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr PxaResult kAllOnes = ~PxaResult{0};
constexpr std::size_t kHugeSize = 300U * 1024U * 1024U;

std::string Base64(const std::string& text) {
  return base64_encode(reinterpret_cast<const unsigned char*>(text.data()), static_cast<std::uint32_t>(text.size()));
}

std::string WithNulInside(std::string text) {
  text.insert(text.size() / 2, 1, '\0');
  return text;
}

std::uint32_t FamilyOf(PxaResult result) { return static_cast<std::uint32_t>(result >> 32); }

// One hostile input in the two forms the functions take: `serialized` for those that read a
// serialized record (base64 of JSON), `json` for those that read JSON text itself.
struct Hostile {
  std::string name;
  std::string serialized;
  std::string json;
  // The JSON form is a well-formed document (of the wrong shape or content).
  bool jsonWellFormed;
  bool huge;
};

const std::string& HugeBuffer() {
  // Opening brackets: not base64, not a finished JSON document, and as deep as it is long.
  static const std::string huge(kHugeSize, '[');
  return huge;
}

const std::vector<Hostile>& HostileInputs() {
  static const std::vector<Hostile> inputs = [] {
    const std::string wrongShape = "[1,2,3]\n";
    const std::string wrongTypes =
        R"({"v":"1","cn":5,"iv":["A"],"kn":{},"kv":"0","cd":true,"dn":1,"sa":2,"it":"x","dg":[],"hm":null})";
    const std::string beyond32Bits =
        R"({"v":4294967297,"cn":"aes-256-cbc","iv":"AAAAAAAAAAAAAAAAAAAAAA==","kn":"QV_ENCYPT_DECRYPT_0",)"
        R"("kv":-9999999999,"cd":"AAAA","dn":"sha256","sa":"AAAA","it":99999999999,"dg":"AAAA","hm":"AAAA"})";
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::string goodRecord =
        R"({"v":1,"cn":"aes-256-cbc","iv":"AAAAAAAAAAAAAAAAAAAAAA==","kn":"QV_ENCYPT_DECRYPT_0","kv":0,"cd":"AAAA"})";
    return std::vector<Hostile>{
        {"empty", "", "", false, false},
        {"one byte", "A", "{", false, false},
        {"NUL byte", std::string(1, '\0'), std::string(1, '\0'), false, false},
        {"not base64", "%%%not*base64?%%%", "not json at all", false, false},
        {"base64 of not JSON", Base64("plain words, not JSON"), "plain words, not JSON", false, false},
        {"JSON of the wrong shape", Base64(wrongShape), wrongShape, true, false},
        {"members of the wrong type", Base64(wrongTypes + "\n"), wrongTypes, true, false},
        {"numbers beyond 32 bits", Base64(beyond32Bits + "\n"), beyond32Bits, true, false},
        {"nesting 100000 deep", Base64(deep), deep, false, false},
        {"NUL inside", WithNulInside(Base64(goodRecord + "\n")), WithNulInside(goodRecord), false, false},
        {"300 MB", HugeBuffer(), HugeBuffer(), false, true},
    };
  }();
  return inputs;
}

const std::uint8_t* BytesOf(const std::string& text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

// A function under test: it checks its own documented answer for one input.
struct Subject {
  const char* name;
  // Whether the function may be given the 300 MB buffer: it reads the input once and keeps
  // nothing of its size.
  bool takesHuge;
  std::function<void(const Hostile&)> check;
};

std::shared_ptr<QVCrypto> CryptoEngine() { return QVpax::getInstance()->CryptoIntrf(); }

std::vector<Subject> Subjects() {
  return {
      {"DecryptData", true,
       [](const Hostile& in) {
         SecureBlock plain{1, 2, 3};
         EXPECT_EQ(DecryptData(in.serialized, plain, ""), PXA_ERR_CORRUPTED_DATA);
       }},
      {"DecryptWithPassword", true,
       [](const Hostile& in) {
         SecureBlock plain;
         EXPECT_EQ(DecryptWithPassword(in.serialized, "password", plain), PXA_ERR_CORRUPTED_DATA);
         EXPECT_TRUE(plain.empty());
       }},
      {"DecryptWithPassword (record text and bytes)", true,
       [](const Hostile& in) {
         std::string metaJson = in.json;
         std::array<std::uint8_t, 16> out{};
         std::size_t plainLength = 77;
         EXPECT_EQ(DecryptWithPassword(metaJson, BytesOf(in.serialized), in.serialized.size(), "password", out.data(),
                                       plainLength),
                   PXA_ERR_CORRUPTED_DATA);
         EXPECT_EQ(plainLength, 77U) << "plainLength touched on failure";
       }},
      {"QVCrypto::isQVCrypto", true,
       [](const Hostile& in) { EXPECT_FALSE(CryptoEngine()->isQVCrypto(in.serialized)); }},
      {"DeserialzeCipherData", true,
       [](const Hostile& in) {
         CipherMeta_t meta;
         std::vector<std::uint8_t> bytes;
         EXPECT_FALSE(DeserialzeCipherData(in.serialized, meta, bytes));
       }},
      {"CipherMetaFromJsonStr and CipherFromJsonStr", true,
       [](const Hostile& in) {
         CipherMeta_t meta;
         std::vector<std::uint8_t> bytes;
         EXPECT_FALSE(CipherMetaFromJsonStr(in.json, meta));
         EXPECT_FALSE(CipherFromJsonStr(in.json, meta, bytes));
       }},
      {"DeserializeHashingData and DeserializeSigningData", true,
       [](const Hostile& in) {
         HashingData_t hashing;
         SigningData_t signing;
         EXPECT_FALSE(DeserializeHashingData(hashing, in.serialized));
         EXPECT_FALSE(DeserializeSigningData(signing, in.serialized));
       }},
      {"HashingDataFromJsonStr and SigningDataFromJsonStr", true,
       [](const Hostile& in) {
         HashingData_t hashing;
         SigningData_t signing;
         EXPECT_FALSE(HashingDataFromJsonStr(hashing, in.json));
         EXPECT_FALSE(SigningDataFromJsonStr(signing, in.json));
       }},
      {"VerifyDigest, VerifyChecksum, VerifyHMAC, VerifyPasswordHash (record)", true,
       [](const Hostile& in) {
         EXPECT_FALSE(VerifyDigest(std::string("data"), in.serialized));
         EXPECT_FALSE(VerifyChecksum(std::string("data"), in.serialized));
         EXPECT_FALSE(VerifyHMAC(std::string("data"), in.serialized));
         EXPECT_FALSE(VerifyPasswordHash("password", in.serialized));
       }},
      {"VerifyDigest, VerifyChecksum, VerifyHMAC, VerifyPasswordHash (data)", true,
       [](const Hostile& in) {
         // Good records of other data: the hostile data must simply not match.
         std::string digest;
         std::string checksum;
         std::string hmac;
         std::string hash;
         ASSERT_EQ(CreateDigest(std::string("other"), digest), PXA_OK);
         ASSERT_EQ(CreateChecksum(std::string("other"), checksum), PXA_OK);
         ASSERT_EQ(CreateHMAC(std::string("other"), hmac), PXA_OK);
         ASSERT_EQ(CreatePasswordHash("other", hash), PXA_OK);
         EXPECT_FALSE(VerifyDigest(in.serialized, digest));
         EXPECT_FALSE(VerifyChecksum(in.serialized, checksum));
         EXPECT_FALSE(VerifyHMAC(in.serialized, hmac));
         EXPECT_FALSE(VerifyPasswordHash(in.serialized, hash));
       }},
      {"CreateDigest, CreateChecksum, CreateHMAC (data)", true,
       [](const Hostile& in) {
         std::string digest;
         std::string checksum;
         std::string hmac;
         EXPECT_EQ(CreateDigest(in.serialized, digest), PXA_OK);
         EXPECT_EQ(CreateChecksum(in.serialized, checksum), PXA_OK);
         EXPECT_EQ(CreateHMAC(in.serialized, hmac), PXA_OK);
         EXPECT_TRUE(VerifyDigest(in.serialized, digest));
         EXPECT_TRUE(VerifyHMAC(in.serialized, hmac));
       }},
      {"CreatePasswordHash and CreateDerivedKey (password)", false,
       [](const Hostile& in) {
         std::string hash;
         EXPECT_EQ(CreatePasswordHash(in.serialized, hash), PXA_OK);
         EXPECT_TRUE(VerifyPasswordHash(in.serialized, hash));
         std::string key = "untouched";
         // The salt repeats the password up to 16 bytes, which an empty one cannot do.
         EXPECT_EQ(CreateDerivedKey(in.serialized, key), in.serialized.empty() ? PXA_ERR_INVALID_ARGUMENTS : PXA_OK);
       }},
      {"EncryptData and EncryptWithPassword (plain text, password, keystore name)", false,
       [](const Hostile& in) {
         std::string keystoreText;
         ASSERT_EQ(EncryptData(in.serialized, keystoreText, ""), PXA_OK);
         SecureBlock plain;
         ASSERT_EQ(DecryptData(keystoreText, plain, ""), PXA_OK);
         EXPECT_EQ(std::string(plain.begin(), plain.end()), in.serialized);
         std::string passwordText;
         ASSERT_EQ(EncryptWithPassword(in.serialized, in.serialized, passwordText), PXA_OK);
         ASSERT_EQ(DecryptWithPassword(passwordText, in.serialized, plain), PXA_OK);
         EXPECT_EQ(std::string(plain.begin(), plain.end()), in.serialized);
         // No keystore is registered under any of these names (an empty one means "ZKSystem").
         if (!in.serialized.empty()) {
           std::string untouched = "untouched";
           EXPECT_EQ(EncryptData(std::string("plain"), untouched, in.serialized), kAllOnes);
           EXPECT_EQ(untouched, "untouched");
           // Decryption searches every registered keystore; the name passed does not decide.
           EXPECT_EQ(DecryptData(keystoreText, plain, in.serialized), PXA_OK);
         }
       }},
      {"QVPBDecrypt and QVPBEncrypt (C strings)", true,
       [](const Hostile& in) {
         char* untouched = reinterpret_cast<char*>(&untouched);
         char* plain = untouched;
         EXPECT_EQ(QVPBDecrypt(in.serialized.c_str(), &plain, "password"), 0);
         EXPECT_EQ(plain, untouched);
         if (!in.huge) {
           char* text = nullptr;
           ASSERT_EQ(QVPBEncrypt("plain", &text, in.serialized.c_str()), 1);
           std::free(text);
         }
       }},
      {"zkJson::Reader::parse, both modes", true,
       [](const Hostile& in) {
         for (const zkJson::ReaderMode mode : {zkJson::ReaderMode::kDefault, zkJson::ReaderMode::kStrict}) {
           zkJson::Reader reader(mode);
           zkJson::Value root;
           EXPECT_EQ(reader.parse(in.json, root), in.jsonWellFormed) << static_cast<int>(mode);
           if (!in.jsonWellFormed) {
             EXPECT_FALSE(reader.getFormattedErrorMessages().empty());
           }
         }
       }},
      // A 300 MB name is left out: OpenSSL's name look-up takes about nine seconds over it in a
      // release build, bounded but too slow for every sanitizer run.
      {"cipher and digest names", false,
       [](const Hostile& in) {
         EXPECT_EQ(EVPGetCipherKeyLength(in.serialized.c_str()), -1);
         EXPECT_EQ(EVPGetCipherIvLength(in.serialized.c_str()), -1);
         EXPECT_EQ(EVPGetCipherBlockSize(in.serialized.c_str()), -1);
         std::array<unsigned char, 64> out{};
         int outLength = static_cast<int>(out.size());
         EXPECT_EQ(EVPDigest(in.serialized.c_str(), BytesOf(in.json), 0, out.data(), outLength),
                   PXA_ERR_UNSUPPORTED_DIGEST);
       }},
      {"base64_decode", true,
       [](const Hostile& in) {
         // Not an error to decode junk: the bytes before the fault, or nothing; never more than
         // the text can hold.
         EXPECT_LE(base64_decode(in.serialized).size(), in.serialized.size() / 4 * 3);
       }},
      {"EVPDecrypt (cipher text)", true,
       [](const Hostile& in) {
         SecureBlock key(32, 0x11);
         std::string plain;
         const PxaResult result = EVPDecrypt("aes-256-cbc", key, std::string(16, '\0'), in.serialized, plain);
         // Any length that is not a whole number of blocks, or no block at all, cannot decrypt.
         if (in.serialized.empty() || in.serialized.size() % 16 != 0) {
           EXPECT_EQ(FamilyOf(result), 2U) << std::hex << result;
         } else {
           EXPECT_TRUE(result == PXA_OK || FamilyOf(result) == 2U) << std::hex << result;
         }
       }},
      {"QVHashUpdate (handle)", true,
       [](const Hostile& in) {
         // A handle that points at foreign bytes carries no magic of ours.
         std::array<std::uint8_t, 256> foreign{};
         for (std::size_t i = 0; i < foreign.size(); ++i) {
           foreign[i] = static_cast<std::uint8_t>(in.serialized.empty() ? 0 : in.serialized[i % in.serialized.size()]);
         }
         auto* handle = reinterpret_cast<QVHashCtx>(foreign.data());
         EXPECT_FALSE(QVHashUpdate(handle, BytesOf(in.serialized), in.serialized.size()));
         std::array<unsigned char, 32> out{};
         EXPECT_FALSE(QVHashFinal(handle, out.data()));
         QVHashCtx good = QVHashInitCtx();
         ASSERT_NE(good, nullptr);
         EXPECT_TRUE(QVHashUpdate(good, BytesOf(in.serialized), in.serialized.size()));
         EXPECT_TRUE(QVHashFinal(good, out.data()));
       }},
  };
}

class HostileInput : public testing::TestWithParam<Subject> {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

TEST_P(HostileInput, GivesItsDocumentedAnswer) {
  const Subject& subject = GetParam();
  for (const Hostile& input : HostileInputs()) {
    if (input.huge && !subject.takesHuge) {
      continue;
    }
    SCOPED_TRACE(input.name);
    subject.check(input);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryFunction, HostileInput, testing::ValuesIn(Subjects()),
                         [](const testing::TestParamInfo<Subject>& param) {
                           std::string name;
                           for (const char* c = param.param.name; *c != '\0'; ++c) {
                             name += std::isalnum(static_cast<unsigned char>(*c)) != 0 ? *c : '_';
                           }
                           return name + "_" + std::to_string(param.index);
                         });

// SSV decryption with a valid SSV in place, so that the input is what decides.
TEST(HostileSsvInput, GivesItsDocumentedAnswer) {
  testsupport::TempMachineRoot root;
  const testsupport::CapturedLog quiet;
  ASSERT_TRUE(InitLibrary());
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  for (const Hostile& input : HostileInputs()) {
    SCOPED_TRACE(input.name);
    const auto expectDecryptAnswer = [](const std::string& binary, PxaResult result) {
      if (binary.size() < 16) {
        EXPECT_EQ(result, PXA_ERR_INVALID_ARGUMENTS);
      } else if (binary.size() == 16 || binary.size() % 16 != 0) {
        EXPECT_EQ(FamilyOf(result), 2U) << std::hex << result;
      } else {
        EXPECT_TRUE(result == PXA_OK || FamilyOf(result) == 2U) << std::hex << result;
      }
    };
    SecureBlock plain;
    expectDecryptAnswer(base64_decode(input.serialized), DecryptWithSSV(input.serialized, plain));
    plain.clear();
    expectDecryptAnswer(input.serialized, DecryptWithSSV_Bin(input.serialized, plain));
    char* text = nullptr;
    SSVDecrypt(input.serialized.c_str(), &text);
    ASSERT_NE(text, nullptr);
    const std::string delivered(text);
    std::free(text);
    if (!input.huge) {
      std::string cipherText;
      ASSERT_EQ(EncryptWithSSV(input.serialized, cipherText), PXA_OK);
      SecureBlock back;
      ASSERT_EQ(DecryptWithSSV(cipherText, back), PXA_OK);
      EXPECT_EQ(std::string(back.begin(), back.end()), input.serialized);
    }
  }
}

}  // namespace
}  // namespace QVCryptoService
