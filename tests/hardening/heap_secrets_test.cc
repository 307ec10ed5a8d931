// No key or password byte stays behind in the general heap after a one-call function returns.
//
// How: this binary replaces operator new and delete and OpenSSL's allocator (heap_watch.cc).
// During each call every block freed is copied as it stands at that moment, which is what would
// remain in the heap, and every block allocated during the call and still live afterwards is
// copied when it returns. No run of 8 bytes of the key, the password or the key derived from
// it may appear in those copies. This covers every copy the library or OpenSSL makes on the
// heap; the caller's own strings (allocated before the call) are not counted, SecureBlock's
// locked pages are not heap, and copies on the stack are outside the check.

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
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr std::size_t kWindow = 8;

// Fits the short-string buffer, so the caller's copy is not on the heap at all.
const std::string kShortPassword = "Tq8#vLm2!xZr";
// Longer than any short-string buffer: every copy the library makes is a heap block.
const std::string kLongPassword = "correct-horse-7Fq2-battery-staple-Xw9p";

std::span<const std::uint8_t> BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

SecureBlock KeystoreKey(const char* name) {
  QVKeystoreStatic store;
  SecureBlock key;
  QVKeyControlData ctl;
  EXPECT_EQ(store.getKey(name, key, ctl, 0), 0) << name;
  return key;
}

// What a run of `call` left behind, one secret at a time.
class Watched {
 public:
  explicit Watched(const std::function<void()>& call) {
    heapwatch::Begin();
    call();
    heapwatch::End();
  }
  void ExpectNoCopyOf(const char* what, std::span<const std::uint8_t> secret) const {
    ExpectNoCopy(what, secret, false);
  }
  // ExpectNoOwnCopyOf lets copies pass that OpenSSL makes and frees unwiped.
  void ExpectNoOwnCopyOf(const char* what, std::span<const std::uint8_t> secret) const {
    ExpectNoCopy(what, secret, true);
  }

 private:
  static void ExpectNoCopy(const char* what, std::span<const std::uint8_t> secret, bool exceptOpenSsl) {
    ASSERT_GE(secret.size(), kWindow) << what;
    for (const heapwatch::Finding& finding : heapwatch::Search(secret, kWindow)) {
      if (exceptOpenSsl && finding.fromOpenSsl) {
        continue;
      }
      ADD_FAILURE() << what << " found in a " << (finding.stillLive ? "live" : "freed") << " heap block of "
                    << finding.blockSize << " bytes at offset " << finding.offset << " allocated by "
                    << (finding.fromOpenSsl ? "OpenSSL" : "operator new");
    }
  }
};

class HeapSecrets : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(heapwatch::HooksInstalled()) << "OpenSSL allocated before the hooks could be installed";
    ASSERT_TRUE(InitLibrary());
    ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  }
};

// The watch must see what it is meant to see, or every other case passes for nothing.
TEST_F(HeapSecrets, WatchFindsACopyLeftInAStringAndInOpenSslMemory) {
  const Watched stringCopy([] {
    std::string copy = kLongPassword;
    (void)copy;
  });
  EXPECT_FALSE(heapwatch::Search(BytesOf(kLongPassword), kWindow).empty());
  const Watched openSslCopy([] {
    void* copy = OPENSSL_malloc(kLongPassword.size());
    std::memcpy(copy, kLongPassword.data(), kLongPassword.size());
    OPENSSL_free(copy);
  });
  EXPECT_FALSE(heapwatch::Search(BytesOf(kLongPassword), kWindow).empty());
  const Watched wiped([] {
    void* copy = OPENSSL_malloc(kLongPassword.size());
    std::memcpy(copy, kLongPassword.data(), kLongPassword.size());
    OPENSSL_clear_free(copy, kLongPassword.size());
  });
  EXPECT_TRUE(heapwatch::Search(BytesOf(kLongPassword), kWindow).empty());
}

// What the library wipes its password copies with blanks every byte the string held, not only its
// size: a moved-from short string keeps all but its first character inside the string object,
// and a shrunk long one keeps the old characters in its heap block past its size.
TEST_F(HeapSecrets, WipedStringsKeepNoCharacterOfTheSecret) {
  std::string movedFrom = kShortPassword;
  {
    const WipeOnExit wipeMovedFrom(movedFrom);
    std::string taken = std::move(movedFrom);
    const WipeOnExit wipeTaken(taken);
  }
  const auto* object = reinterpret_cast<const unsigned char*>(&movedFrom);
  const std::vector<std::uint8_t> objectBytes(object, object + sizeof movedFrom);
  const std::string tail = kShortPassword.substr(1, kWindow);
  EXPECT_EQ(std::search(objectBytes.begin(), objectBytes.end(), tail.begin(), tail.end()), objectBytes.end())
      << "a moved-from short string still holds the password";

  const Watched shrunk([] {
    std::string text = kLongPassword;
    const WipeOnExit wipe(text);
    text.resize(4);
  });
  shrunk.ExpectNoCopyOf("the password after a shrunk string was wiped", BytesOf(kLongPassword));
}

// The keystore's keys after the calls that use them.
TEST_F(HeapSecrets, KeystoreKeyedCalls) {
  const SecureBlock encryptionKey = KeystoreKey("QV_ENCYPT_DECRYPT_0");
  const SecureBlock integrityKey = KeystoreKey("QV_HMAC_INTEGRITY_0");
  std::string cipherText;
  std::string hmac;
  SecureBlock decrypted;
  Watched([&] {
    ASSERT_EQ(EncryptData(std::string("protected by a keystore key"), cipherText, ""), PXA_OK);
  }).ExpectNoCopyOf("the encryption key after EncryptData", encryptionKey);
  Watched([&] {
    ASSERT_EQ(DecryptData(cipherText, decrypted, ""), PXA_OK);
  }).ExpectNoCopyOf("the encryption key after DecryptData", encryptionKey);
  Watched([&] {
    ASSERT_EQ(CreateHMAC(std::string("signed data"), hmac), PXA_OK);
  }).ExpectNoCopyOf("the integrity key after CreateHMAC", integrityKey);
  Watched([&] {
    ASSERT_TRUE(VerifyHMAC(std::string("signed data"), hmac));
  }).ExpectNoCopyOf("the integrity key after VerifyHMAC", integrityKey);
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

// The password, short enough for the string's own buffer or not, and the key derived from it.
TEST_F(HeapSecrets, PasswordCalls) {
  for (const std::string& password : {kShortPassword, kLongPassword}) {
    SCOPED_TRACE(password.size());
    const auto pw = BytesOf(password);
    std::string cipherText;
    SecureBlock decrypted;
    const Watched encrypt(
        [&] { ASSERT_EQ(EncryptWithPassword(std::string("protected"), password, cipherText), PXA_OK); });
    const SecureBlock key = DerivedKey(password, cipherText);
    encrypt.ExpectNoCopyOf("the password after EncryptWithPassword", pw);
    encrypt.ExpectNoCopyOf("the derived key after EncryptWithPassword", key);
    const Watched decrypt([&] { ASSERT_EQ(DecryptWithPassword(cipherText, password, decrypted), PXA_OK); });
    decrypt.ExpectNoCopyOf("the password after DecryptWithPassword", pw);
    decrypt.ExpectNoCopyOf("the derived key after DecryptWithPassword", key);
    std::string hash;
    Watched([&] {
      ASSERT_EQ(CreatePasswordHash(password, hash), PXA_OK);
    }).ExpectNoCopyOf("the password after CreatePasswordHash", pw);
    Watched([&] {
      ASSERT_TRUE(VerifyPasswordHash(password, hash));
    }).ExpectNoCopyOf("the password after VerifyPasswordHash", pw);
    // CreateDerivedKey's salt is the password repeated to 16 bytes, and OpenSSL's PBKDF2 frees
    // its own copy of the salt without wiping it (a salt is public in its view): the one known
    // residue. The library's own copies are checked as everywhere else.
    std::string derived;
    Watched([&] {
      ASSERT_EQ(CreateDerivedKey(password, derived), PXA_OK);
    }).ExpectNoOwnCopyOf("the password after CreateDerivedKey", pw);
  }
  char* cipherText = nullptr;
  char* plain = nullptr;
  Watched([&] {
    ASSERT_EQ(QVPBEncrypt("plain", &cipherText, kLongPassword.c_str()), 1);
  }).ExpectNoCopyOf("the password after QVPBEncrypt", BytesOf(kLongPassword));
  Watched([&] {
    ASSERT_EQ(QVPBDecrypt(cipherText, &plain, kLongPassword.c_str()), 1);
  }).ExpectNoCopyOf("the password after QVPBDecrypt", BytesOf(kLongPassword));
  std::free(cipherText);
  std::free(plain);
}

// The SSV key and the five group secrets it is folded from, recovered by the test's own engine
// and kept in locked memory only (the key deduction has known answers of its own).
struct SsvSecrets {
  SecureBlock key;
  std::vector<SecureBlock> groups;
};

SsvSecrets RecoverSsvSecrets() {
  SsvSecrets secrets;
  std::vector<std::string> groups;
  EXPECT_EQ(QVSSVCrypto().recoverSSV(groups), KS_SUCCESS);
  secrets.key = DeduceSsvKey(groups);
  for (std::string& group : groups) {
    secrets.groups.emplace_back(group.begin(), group.end());
    OPENSSL_cleanse(group.data(), group.size());
  }
  return secrets;
}

TEST_F(HeapSecrets, SsvFunctions) {
  testsupport::TempMachineRoot root;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  const SsvSecrets secrets = RecoverSsvSecrets();
  ASSERT_EQ(secrets.groups.size(), 5U);
  const auto expectClean = [&](const Watched& watched, const char* call) {
    watched.ExpectNoCopyOf((std::string("the SSV key after ") + call).c_str(), secrets.key);
    for (const SecureBlock& group : secrets.groups) {
      watched.ExpectNoCopyOf((std::string("a group secret after ") + call).c_str(), group);
    }
  };
  const std::string plain = "a message protected by the SSV";
  std::string text;
  std::string binary;
  SecureBlock decrypted;
  expectClean(Watched([&] { ASSERT_EQ(EncryptWithSSV(plain, text), PXA_OK); }), "EncryptWithSSV");
  expectClean(Watched([&] { ASSERT_EQ(EncryptWithSSV_Bin(plain, binary), PXA_OK); }), "EncryptWithSSV_Bin");
  expectClean(Watched([&] { ASSERT_EQ(DecryptWithSSV(text, decrypted), PXA_OK); }), "DecryptWithSSV");
  expectClean(Watched([&] { ASSERT_EQ(DecryptWithSSV_Bin(binary, decrypted), PXA_OK); }), "DecryptWithSSV_Bin");
  char* cipherText = nullptr;
  char* roundTrip = nullptr;
  expectClean(Watched([&] { SSVEncrypt("plain", &cipherText); }), "SSVEncrypt");
  ASSERT_NE(cipherText, nullptr);
  expectClean(Watched([&] { SSVDecrypt(cipherText, &roundTrip); }), "SSVDecrypt");
  ASSERT_NE(roundTrip, nullptr);
  EXPECT_STREQ(roundTrip, "plain");
  std::free(cipherText);
  std::free(roundTrip);
}

// An exhausted heap must not unwind into a C caller, whose process it would end: the C functions
// report their failure instead.
TEST_F(HeapSecrets, CFunctionsFailRatherThanThrowWhenMemoryRunsOut) {
  testsupport::TempMachineRoot root;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  const std::string plain(std::size_t{1} << 20, 'p');
  char* cipherText = nullptr;
  char* ssvText = nullptr;
  heapwatch::RefuseAllocationsFrom(plain.size());
  const std::uint8_t encrypted = QVPBEncrypt(plain.c_str(), &cipherText, "password");
  SSVEncrypt(plain.c_str(), &ssvText);
  heapwatch::RefuseAllocationsFrom(0);
  EXPECT_EQ(encrypted, 0);
  EXPECT_EQ(cipherText, nullptr);
  ASSERT_NE(ssvText, nullptr);
  EXPECT_STREQ(ssvText, "");
  std::free(ssvText);
}

}  // namespace
}  // namespace QVCryptoService
