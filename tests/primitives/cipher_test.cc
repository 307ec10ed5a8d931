#include <qvcryptoservice/primitives.h>

#include "primitives/evp_algorithms.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::DataRow;
using testsupport::ReadDataTable;

TEST(CipherLengths, ReportKnownCiphersAndMinusOneForUnknown) {
  for (const DataRow& row : ReadDataTable("crypto_cipher_lengths.tsv")) {
    const char* cipher = row["cipher"] == "null" ? nullptr : row["cipher"].c_str();
    EXPECT_EQ(EVPGetCipherKeyLength(cipher), std::stoi(row["key"])) << row.where;
    EXPECT_EQ(EVPGetCipherIvLength(cipher), std::stoi(row["iv"])) << row.where;
    EXPECT_EQ(EVPGetCipherBlockSize(cipher), std::stoi(row["block"])) << row.where;
  }
}

// A name resolves to what OpenSSL's look-up finds for it; where the default provider has the
// algorithm, to its fetched implementation, the same one on every call. More spellings of one
// name than the look-up keeps all resolve too.
TEST(AlgorithmNames, ResolveAsOpenSslDoesAndFetchOnce) {
  for (const DataRow& row : ReadDataTable("crypto_algorithm_names.tsv")) {
    const char* name = row["name"].c_str();
    const bool cipher = row["kind"] == "cipher";
    const void* found = cipher ? static_cast<const void*>(FindCipher(name)) : FindDigest(name);
    const int nid = cipher ? (found != nullptr ? EVP_CIPHER_get_nid(FindCipher(name)) : 0)
                           : (found != nullptr ? EVP_MD_get_type(FindDigest(name)) : 0);
    const int openSslNid =
        cipher ? (EVP_get_cipherbyname(name) != nullptr ? EVP_CIPHER_get_nid(EVP_get_cipherbyname(name)) : 0)
               : (EVP_get_digestbyname(name) != nullptr ? EVP_MD_get_type(EVP_get_digestbyname(name)) : 0);
    EXPECT_EQ(found != nullptr, row["resolved"] == "1") << row.where;
    EXPECT_EQ(nid, openSslNid) << row.where;
    EXPECT_EQ(found, cipher ? static_cast<const void*>(FindCipher(name)) : FindDigest(name)) << row.where;
    if (row["fetched"] == "1") {
      EXPECT_NE(cipher ? EVP_CIPHER_get0_provider(FindCipher(name)) : EVP_MD_get0_provider(FindDigest(name)), nullptr)
          << row.where;
    }
  }
  std::string spelling = "aes-192-cbc";
  const std::array<std::size_t, 6> letters{0, 1, 2, 8, 9, 10};
  for (std::size_t variant = 0; variant < 64; ++variant) {
    for (std::size_t i = 0; i < letters.size(); ++i) {
      char& letter = spelling[letters[i]];
      letter = static_cast<char>((variant >> i & 1U) != 0 ? std::toupper(letter) : std::tolower(letter));
    }
    ASSERT_NE(FindCipher(spelling.c_str()), nullptr) << spelling;
    EXPECT_EQ(EVP_CIPHER_get_key_length(FindCipher(spelling.c_str())), 24) << spelling;
  }
  // Two threads using a name for the first time at once get the one implementation kept for it.
  std::array<const EVP_MD*, 2> firstUse{};
  std::thread other([&firstUse] { firstUse[0] = FindDigest("sha3-384"); });
  firstUse[1] = FindDigest("sha3-384");
  other.join();
  EXPECT_TRUE(firstUse[0] != nullptr && firstUse[0] == firstUse[1]);
}

TEST(CipherCore, RefusesInItsOrderWithoutWritingOutput) {
  std::array<unsigned char, 64> key{};
  std::array<unsigned char, 32> iv{};
  const std::array<unsigned char, 20> in{};
  for (const DataRow& row : ReadDataTable("crypto_cipher_refusals.tsv")) {
    const char* cipher = row["cipher"] == "null" ? nullptr : row["cipher"].c_str();
    const int keyLen = std::stoi(row["key_length"]);
    const int ivLen = std::stoi(row["iv_length"]);
    std::vector<unsigned char> out(256, 0xAA);
    for (const bool encrypt : {true, false}) {
      int outLen = std::stoi(row["out_capacity"]);
      const PxaResult result =
          encrypt ? EVPEncrypt(cipher, key.data(), keyLen, iv.data(), ivLen, in.data(), 16, out.data(), outLen)
                  : EVPDecrypt(cipher, key.data(), keyLen, iv.data(), ivLen, in.data(), 16, out.data(), outLen);
      EXPECT_EQ(result, std::stoull(row["result"], nullptr, 16)) << row.where << (encrypt ? " encrypting" : "");
      EXPECT_EQ(outLen, 0) << row.where;
    }
    EXPECT_EQ(out, std::vector<unsigned char>(256, 0xAA)) << row.where;
  }
  // Encryption needs room for a whole padding block.
  std::array<unsigned char, 48> out{};
  int outLen = 31;
  EXPECT_EQ(EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16, in.data(), 16, out.data(), outLen),
            PXA_ERR_INVALID_ARGUMENTS);
  outLen = 32;
  EXPECT_EQ(EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16, in.data(), 16, out.data(), outLen), PXA_OK);
}

// About one wrong key in 256 passes the padding check: only that the plain text does not come
// out is certain.
TEST(CipherCore, WrongKeysNeverGiveThePlainText) {
  const SecureBlock key(32, 0x11);
  const std::string plain(100, 'p');
  std::string iv;
  std::string cipherText;
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, iv, plain, cipherText), PXA_OK);
  for (unsigned char fill = 0x20; fill < 0x28; ++fill) {
    std::string out;
    const PxaResult result = EVPDecrypt("aes-256-cbc", SecureBlock(32, fill), iv, cipherText, out);
    EXPECT_TRUE(result != PXA_OK || out != plain) << int{fill};
  }
}

TEST(CipherCore, SecureBlockFormsUseAFreshIvAndPassOnRefusals) {
  const SecureBlock key(32, 0x01);
  std::string iv;
  std::string cipherText;
  std::string again;
  std::string plain = "stale";
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, iv, std::string(32, 'p'), cipherText), PXA_OK);
  EXPECT_EQ(cipherText.size(), 48U) << "a whole block of padding";
  ASSERT_EQ(EVPDecrypt("aes-256-cbc", key, iv, cipherText, plain), PXA_OK);
  EXPECT_EQ(plain, std::string(32, 'p'));
  std::string otherIv;
  ASSERT_EQ(EVPEncrypt("aes-256-cbc", key, otherIv, std::string(32, 'p'), again), PXA_OK);
  EXPECT_NE(iv, otherIv);
  cipherText = "untouched";
  EXPECT_EQ(EVPEncrypt("no-such-cipher", key, iv, "x", cipherText), PXA_ERR_UNSUPPORTED_CIPHER);
  EXPECT_EQ(cipherText, "untouched");
  EXPECT_EQ(EVPDecrypt("aes-256-cbc", key, std::string(12, 'i'), std::string(16, 'c'), plain), PXA_ERR_INVALID_IV_LEN);
  EXPECT_TRUE(plain.empty());
}

TEST(Digests, KnownAnswers) {
  for (const DataRow& row : ReadDataTable("crypto_digests.tsv")) {
    const auto* key = reinterpret_cast<const unsigned char*>(row["key"].data());
    const auto* in = row["input"].empty() ? nullptr : reinterpret_cast<const unsigned char*>(row["input"].data());
    const int inLen = static_cast<int>(row["input"].size());
    std::array<unsigned char, 64> out{};
    int outLen = static_cast<int>(out.size());
    const PxaResult result =
        row["function"] == "digest"
            ? EVPDigest(row["digest"].c_str(), in, inLen, out.data(), outLen)
            : EVPHMAC(row["digest"].c_str(), key, static_cast<int>(row["key"].size()), in, inLen, out.data(), outLen);
    ASSERT_EQ(result, PXA_OK) << row.where;
    EXPECT_EQ(testsupport::ToHex(out.data(), static_cast<std::size_t>(outLen)), row["output"]) << row.where;
  }
}

TEST(Digests, Refusals) {
  const auto* abc = reinterpret_cast<const unsigned char*>("abc");
  std::array<unsigned char, 64> out{};
  int outLen = 64;
  EXPECT_EQ(EVPDigest("sha999", abc, 3, out.data(), outLen), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(EVPHMAC("sha999", abc, 3, abc, 3, out.data(), outLen), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(PBKDF2_HMAC("sha999", "pw", abc, 3, 1, 32, out.data()), PXA_ERR_UNSUPPORTED_DIGEST);
  EXPECT_EQ(EVPDigest("sha256", abc, -1, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  outLen = 31;
  EXPECT_EQ(EVPDigest("sha256", abc, 3, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(EVPHMAC("sha256", abc, 3, abc, 3, out.data(), outLen), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(PBKDF2_HMAC("sha256", "pw", abc, 3, 0, 32, out.data()) >> 32, PXA_FAMILY_OPENSSL) << "zero iterations";
}

TEST(RandomBytes, FillTheRequestedBytesOnly) {
  std::array<unsigned char, 40> buffer{};
  ASSERT_TRUE(EVPRandomIV(buffer.data(), 32));
  EXPECT_TRUE(buffer[32] == 0 && buffer[39] == 0) << "bytes past the request";
  std::array<unsigned char, 32> other{};
  ASSERT_TRUE(EVPRandomSalt(other.data(), 32));
  EXPECT_NE(std::memcmp(buffer.data(), other.data(), 32), 0);
  EXPECT_FALSE(EVPRandomBytes(buffer.data(), 0x80000000U)) << "a count OpenSSL cannot take is refused";
  EXPECT_FALSE(EVPRandomBytes(nullptr, 4));
}

}  // namespace
}  // namespace QVCryptoService
