// No run of 8 bytes of a secret a one-call function handles stays behind in the general heap.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include "primitives/secret_string.h"
#include "ssv/key_deduction.h"
#include "tests/hardening/heap_watch.h"
#include "tests/platform/machine_root_fixture.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace QVCryptoService {
namespace {

constexpr std::size_t kWindow = 8;
// Fits the short-string buffer, so the caller's copy is not on the heap at all.
const std::string kShortPassword = "Tq8#vLm2!xZr";
// Longer than any short-string buffer: every copy the library makes is a heap block.
const std::string kLongPassword = "correct-horse-7Fq2-battery-staple-Xw9p";

using Secret = std::span<const std::uint8_t>;
Secret BytesOf(const std::string& text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

struct Holder {
  std::string call;
  std::function<void()> run;
  std::function<std::vector<Secret>()> secrets;  // asked after the call, which may make them
  // OpenSSL's PBKDF2 frees its salt unwiped, and CreateDerivedKey's salt is the password repeated.
  bool exceptOpenSsl = false;
};

void ExpectNoCopies(const Holder& holder) {
  heapwatch::Begin();
  holder.run();
  heapwatch::End();
  for (const Secret secret : holder.secrets()) {
    ASSERT_GE(secret.size(), kWindow) << holder.call;
    EXPECT_EQ(heapwatch::CopiesOf(secret, kWindow, !holder.exceptOpenSsl), 0U)
        << holder.call << " left a secret in the heap (freed, or allocated during the call and still live)";
  }
}

SecureBlock KeystoreKey(const char* name) {
  SecureBlock key;
  QVKeyControlData ctl;
  EXPECT_EQ(QVKeystoreStatic().getKey(name, key, ctl, 0), 0) << name;
  return key;
}

SecureBlock DerivedKey(const std::string& password, const std::string& cipherText) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DeserialzeCipherData(cipherText, meta, bytes));
  SecureBlock key(32);
  EXPECT_EQ(PKCS5_PBKDF2_HMAC(password.c_str(), static_cast<int>(password.size()), meta.salt.data(),
                              static_cast<int>(meta.salt.size()), meta.iterations, EVP_sha256(), 32, key.data()),
            1);
  return key;
}

class HeapSecrets : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(heapwatch::HooksInstalled()) << "OpenSSL allocated before the hooks could be installed";
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

// The watch must see what it is meant to see, or every other case passes for nothing.
TEST_F(HeapSecrets, WatchFindsCopiesLeftInAStringAndInOpenSslMemory) {
  const auto found = [](bool wipe) {
    heapwatch::Begin();
    { const std::string copy = kLongPassword; }
    void* copy = OPENSSL_malloc(kLongPassword.size());
    std::memcpy(copy, kLongPassword.data(), kLongPassword.size());
    wipe ? OPENSSL_clear_free(copy, kLongPassword.size()) : OPENSSL_free(copy);
    heapwatch::End();
    return heapwatch::CopiesOf(BytesOf(kLongPassword), kWindow, true);
  };
  EXPECT_EQ(found(false), 2U);
  EXPECT_EQ(found(true), 1U);
}

// A wiped password copy keeps no character, past its size or in a moved-from object either.
TEST_F(HeapSecrets, WipedStringsKeepNoCharacterOfTheSecret) {
  std::string movedFrom = kShortPassword;
  {
    const WipeOnExit wipeMovedFrom(movedFrom);
    std::string taken = std::move(movedFrom);
    const WipeOnExit wipeTaken(taken);
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&movedFrom), sizeof movedFrom).find(kShortPassword.substr(1, 8)),
            std::string::npos);
  ExpectNoCopies({"a shrunk string",
                  [] {
                    std::string text = kLongPassword;
                    const WipeOnExit wipe(text);
                    text.resize(4);
                  },
                  [] { return std::vector{BytesOf(kLongPassword)}; }});
}

TEST_F(HeapSecrets, NoCallLeavesACopyOfTheSecretsItHandles) {
  const testsupport::TempMachineRoot root;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  // The SSV key and the five group secrets it is folded from, kept in locked memory only.
  std::vector<std::string> groupTexts;
  ASSERT_EQ(QVSSVCrypto().recoverSSV(groupTexts), KS_SUCCESS);
  const SecureBlock ssvKey = DeduceSsvKey(groupTexts);
  std::vector<SecureBlock> groups;
  for (std::string& group : groupTexts) {
    groups.emplace_back(group.begin(), group.end());
    OPENSSL_cleanse(group.data(), group.size());
  }
  const auto ssvSecrets = [&] {
    std::vector<Secret> secrets(groups.begin(), groups.end());
    secrets.emplace_back(ssvKey);
    return secrets;
  };
  const SecureBlock encryptionKey = KeystoreKey("QV_ENCYPT_DECRYPT_0");
  const SecureBlock integrityKey = KeystoreKey("QV_HMAC_INTEGRITY_0");
  const auto keyed = [](const SecureBlock& key) { return [&key] { return std::vector<Secret>{key}; }; };
  std::string text;
  std::string binary;
  std::string hmac;
  SecureBlock plain;
  std::vector<char*> cTexts(4, nullptr);  // the C functions' results, freed by the caller
  std::vector<Holder> holders = {
      {"EncryptData", [&] { EXPECT_EQ(EncryptData(std::string("by a stored key"), text, ""), PXA_OK); },
       keyed(encryptionKey)},
      {"DecryptData", [&] { EXPECT_EQ(DecryptData(text, plain, ""), PXA_OK); }, keyed(encryptionKey)},
      {"CreateHMAC", [&] { EXPECT_EQ(CreateHMAC(std::string("signed"), hmac), PXA_OK); }, keyed(integrityKey)},
      {"VerifyHMAC", [&] { EXPECT_TRUE(VerifyHMAC(std::string("signed"), hmac)); }, keyed(integrityKey)},
      {"EncryptWithSSV", [&] { EXPECT_EQ(EncryptWithSSV("by the SSV", text), PXA_OK); }, ssvSecrets},
      {"DecryptWithSSV", [&] { EXPECT_EQ(DecryptWithSSV(text, plain), PXA_OK); }, ssvSecrets},
      {"EncryptWithSSV_Bin", [&] { EXPECT_EQ(EncryptWithSSV_Bin("by the SSV", binary), PXA_OK); }, ssvSecrets},
      {"DecryptWithSSV_Bin", [&] { EXPECT_EQ(DecryptWithSSV_Bin(binary, plain), PXA_OK); }, ssvSecrets},
      {"SSVEncrypt", [&] { SSVEncrypt("plain", &cTexts[0]); }, ssvSecrets},
      {"SSVDecrypt", [&] { SSVDecrypt(cTexts[0], &cTexts[1]); }, ssvSecrets},
      {"QVPBEncrypt", [&] { EXPECT_EQ(QVPBEncrypt("plain", &cTexts[2], kLongPassword.c_str()), 1); },
       [] { return std::vector{BytesOf(kLongPassword)}; }},
      {"QVPBDecrypt", [&] { EXPECT_EQ(QVPBDecrypt(cTexts[2], &cTexts[3], kLongPassword.c_str()), 1); },
       [] { return std::vector{BytesOf(kLongPassword)}; }}};
  std::vector<SecureBlock> derivedKeys;
  for (const std::string* password : {&kShortPassword, &kLongPassword}) {
    const auto withKey = [&, password] {
      derivedKeys.push_back(DerivedKey(*password, text));
      return std::vector{BytesOf(*password), Secret(derivedKeys.back())};
    };
    const auto alone = [password] { return std::vector{BytesOf(*password)}; };
    const std::string size = " (" + std::to_string(password->size()) + " characters)";
    holders.insert(
        holders.end(),
        {{"EncryptWithPassword" + size,
          [&, password] { EXPECT_EQ(EncryptWithPassword(std::string("p"), *password, text), PXA_OK); }, withKey},
         {"DecryptWithPassword" + size,
          [&, password] { EXPECT_EQ(DecryptWithPassword(text, *password, plain), PXA_OK); }, withKey},
         {"CreatePasswordHash" + size, [&, password] { EXPECT_EQ(CreatePasswordHash(*password, hmac), PXA_OK); },
          alone},
         {"VerifyPasswordHash" + size, [&, password] { EXPECT_TRUE(VerifyPasswordHash(*password, hmac)); }, alone},
         {"CreateDerivedKey" + size, [&, password] { EXPECT_EQ(CreateDerivedKey(*password, hmac), PXA_OK); }, alone,
          true}});
  }
  std::ranges::for_each(holders, ExpectNoCopies);
  EXPECT_STREQ(cTexts[1], "plain");
  EXPECT_STREQ(cTexts[3], "plain");
  for (char* allocated : cTexts) {
    std::free(allocated);
  }
}

// The C functions report an exhausted heap instead of unwinding into their C caller.
TEST_F(HeapSecrets, CFunctionsFailRatherThanThrowWhenMemoryRunsOut) {
  const testsupport::TempMachineRoot root;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  const std::string plain(std::size_t{1} << 20, 'p');
  char* cipherText = nullptr;
  char* ssvText = nullptr;
  heapwatch::RefuseAllocationsFrom(plain.size());
  const std::uint8_t encrypted = QVPBEncrypt(plain.c_str(), &cipherText, "password");
  SSVEncrypt(plain.c_str(), &ssvText);
  heapwatch::RefuseAllocationsFrom(0);
  EXPECT_TRUE(encrypted == 0 && cipherText == nullptr);
  ASSERT_NE(ssvText, nullptr);
  EXPECT_STREQ(ssvText, "");
  std::free(ssvText);
}

}  // namespace
}  // namespace QVCryptoService
