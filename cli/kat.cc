#include "cli/kat.h"

#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/result.h>

#include <array>
#include <string_view>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// NIST SP 800-38A, F.2.5 CBC-AES256.Encrypt (four blocks).
constexpr std::string_view kAesKey = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
constexpr std::string_view kAesIv = "000102030405060708090a0b0c0d0e0f";
constexpr std::string_view kAesPlain =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
constexpr std::string_view kAesCipher =
    "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
    "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b";

struct HashVector {
  std::string_view name;
  std::string_view key;  // empty: plain digest
  std::string_view data;
  std::string_view expected;
};

const std::array<HashVector, 3> kHashVectors = {{
    {"SHA-256 (FIPS 180-2, \"abc\")", "", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"SHA-256 (empty message)", "", "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {"HMAC-SHA256 (RFC 4231 case 2)", "Jefe", "what do ya want for nothing?",
     "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
}};

struct Pbkdf2Vector {
  std::string_view name;
  std::uint32_t iterations;
  std::string_view expected;
};

// PBKDF2-HMAC-SHA256 of "password" with salt "salt" (RFC 7914 style vectors, 32 bytes).
const std::array<Pbkdf2Vector, 2> kPbkdf2Vectors = {{
    {"PBKDF2-HMAC-SHA256 (1 iteration)", 1, "120fb6cffcf8b32c43e7225256c4f837a86548c92ccc35480805987cb70be17b"},
    {"PBKDF2-HMAC-SHA256 (4096 iterations)", 4096, "c5e478d59288c841aa530db6845c4c8d962893a001ce4e11a4963873aa98134a"},
}};

// An Argon2id password-hash record of "correct horse" (64 KiB, 2 passes, 1 lane) made by another
// implementation (libsodium).
constexpr std::string_view kArgon2idRecord =
    "eyJhIjoiYXJnb24yaWQiLCJkaSI6InMyZVFLUElJRWgvU3dlQkEwVWw5NW5PSHhJU2htUzVGL1Y2eTN1eHR3WW89IiwibSI6NjQsInAiOjEsInNh"
    "Ijoib0tHaW82U2xwcWVvcWFxcnJLMnVydz09IiwidCI6MiwidiI6Mn0K";

std::vector<unsigned char> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string Outcome(PxaResult result) { return result == PXA_OK ? "" : PxaErrorReason(result); }

KatResult AesEncrypt() {
  const std::vector<unsigned char> key = HexToBytes(std::string(kAesKey));
  std::vector<unsigned char> iv = HexToBytes(std::string(kAesIv));
  const std::vector<unsigned char> plain = HexToBytes(std::string(kAesPlain));
  const std::vector<unsigned char> expected = HexToBytes(std::string(kAesCipher));
  // One more block for the padding that EVPEncrypt always adds.
  std::vector<unsigned char> out(plain.size() + 16);
  int outLength = static_cast<int>(out.size());
  const PxaResult result =
      EVPEncrypt("aes-256-cbc", key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                 plain.data(), static_cast<int>(plain.size()), out.data(), outLength);
  const bool passed = result == PXA_OK && outLength == static_cast<int>(out.size()) &&
                      std::equal(expected.begin(), expected.end(), out.begin());
  KatResult kat{"AES-256-CBC encrypt (NIST SP 800-38A F.2.5)", passed, Outcome(result)};
  if (!passed) {
    return kat;
  }
  std::vector<unsigned char> decrypted(out.size());
  int decryptedLength = static_cast<int>(decrypted.size());
  iv = HexToBytes(std::string(kAesIv));
  const PxaResult back =
      EVPDecrypt("aes-256-cbc", key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                 out.data(), outLength, decrypted.data(), decryptedLength);
  decrypted.resize(static_cast<std::size_t>(decryptedLength));
  return {"AES-256-CBC encrypt and decrypt (NIST SP 800-38A F.2.5)", back == PXA_OK && decrypted == plain,
          Outcome(back)};
}

KatResult Hash(const HashVector& vector) {
  std::array<unsigned char, 64> out{};
  int outLength = static_cast<int>(out.size());
  const std::vector<unsigned char> data = Bytes(vector.data);
  const std::vector<unsigned char> key = Bytes(vector.key);
  const PxaResult result = vector.key.empty()
                               ? EVPDigest("sha256", data.data(), static_cast<int>(data.size()), out.data(), outLength)
                               : EVPHMAC("sha256", key.data(), static_cast<int>(key.size()), data.data(),
                                         static_cast<int>(data.size()), out.data(), outLength);
  const std::vector<unsigned char> expected = HexToBytes(std::string(vector.expected));
  const bool passed = result == PXA_OK && outLength == static_cast<int>(expected.size()) &&
                      std::equal(expected.begin(), expected.end(), out.begin());
  return {std::string(vector.name), passed, Outcome(result)};
}

KatResult Pbkdf2(const Pbkdf2Vector& vector) {
  const std::vector<unsigned char> salt = Bytes("salt");
  std::array<unsigned char, 32> out{};
  const PxaResult result = PBKDF2_HMAC("sha256", "password", salt.data(), static_cast<int>(salt.size()),
                                       vector.iterations, static_cast<int>(out.size()), out.data());
  const std::vector<unsigned char> expected = HexToBytes(std::string(vector.expected));
  return {std::string(vector.name), result == PXA_OK && std::equal(expected.begin(), expected.end(), out.begin()),
          Outcome(result)};
}

KatResult Argon2idRecord() {
  const std::string record(kArgon2idRecord);
  const bool passed =
      VerifyPasswordHashArgon2id("correct horse", record) && !VerifyPasswordHashArgon2id("correct horsE", record);
  return {"Argon2id password hash (a record made elsewhere)", passed, ""};
}

}  // namespace

std::vector<unsigned char> HexToBytes(const std::string& hex) {
  const auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') {
      return c - '0';
    }
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
  };
  std::vector<unsigned char> bytes;
  if (hex.size() % 2 != 0) {
    return bytes;
  }
  for (std::size_t index = 0; index < hex.size(); index += 2) {
    const int high = nibble(hex[index]);
    const int low = nibble(hex[index + 1]);
    if (high < 0 || low < 0) {
      return {};
    }
    bytes.push_back(static_cast<unsigned char>(high * 16 + low));
  }
  return bytes;
}

std::vector<KatResult> RunKnownAnswerTests() {
  std::vector<KatResult> results;
  results.push_back(AesEncrypt());
  for (const HashVector& vector : kHashVectors) {
    results.push_back(Hash(vector));
  }
  for (const Pbkdf2Vector& vector : kPbkdf2Vectors) {
    results.push_back(Pbkdf2(vector));
  }
  results.push_back(Argon2idRecord());
  return results;
}

}  // namespace qvcrypto
