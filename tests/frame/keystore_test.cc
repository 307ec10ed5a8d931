#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/primitives.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <thread>

namespace QVCryptoService {
namespace {

struct StaticKeyCase {
  const char* name;
  const char* algorithm;
  std::int32_t usageMask;
};

class StaticKeystoreServes : public testing::TestWithParam<StaticKeyCase> {};

TEST_P(StaticKeystoreServes, TheSameActiveKeyForEveryVersion) {
  QVKeystoreStatic store;
  SecureBlock reference;
  QVKeyControlData referenceCtl;
  ASSERT_EQ(store.getKey("QV_ENCYPT_DECRYPT_0", reference, referenceCtl, 0), KS_SUCCESS);
  for (const std::int32_t version : {0, 1, 7, -3}) {
    SecureBlock key(5, 0xEE);
    QVKeyControlData ctl;
    ctl.version = 42;
    ASSERT_EQ(store.getKey(GetParam().name, key, ctl, version), KS_SUCCESS) << GetParam().name;
    EXPECT_EQ(key, reference) << "version " << version;
    EXPECT_EQ(ctl.state, 2);
    EXPECT_EQ(ctl.keyLength, 32);
    EXPECT_EQ(ctl.formatVersion, 0x01000000);
    EXPECT_EQ(ctl.rotationPolicy, 0);
    EXPECT_EQ(ctl.usageMask, GetParam().usageMask);
    EXPECT_TRUE(ctl.symmetric);
    EXPECT_EQ(ctl.algorithm, GetParam().algorithm);
    EXPECT_EQ(ctl.version, 42) << "the version field is not the static keystore's to set";
  }
}

INSTANTIATE_TEST_SUITE_P(BothNames, StaticKeystoreServes,
                         testing::Values(StaticKeyCase{"QV_ENCYPT_DECRYPT_0", "aes-256-cbc", 4},
                                         StaticKeyCase{"QV_HMAC_INTEGRITY_0", "sha256", 0}));

TEST(StaticKeystore, KeyEndsInSixteenOnesAndIsPinned) {
  QVKeystoreStatic store;
  SecureBlock key;
  QVKeyControlData ctl;
  ASSERT_EQ(store.getKey("QV_HMAC_INTEGRITY_0", key, ctl, 0), KS_SUCCESS);
  ASSERT_EQ(key.size(), 32U);
  for (std::size_t i = 16; i < 32; ++i) {
    EXPECT_EQ(key[i], 0x01) << "byte " << i;
  }
  // Known answer: AES-256-CBC under the static key. Data encrypted with the built-in keystore
  // must stay readable by every later version, so this must never change.
  std::array<unsigned char, 16> iv = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  const std::string plain = "QVCryptoService static key pin";
  std::array<unsigned char, 64> out{};
  int outLen = static_cast<int>(out.size());
  ASSERT_EQ(
      EVPEncrypt("aes-256-cbc", key.data(), 32, iv.data(), 16, reinterpret_cast<const unsigned char*>(plain.data()),
                 static_cast<int>(plain.size()), out.data(), outLen),
      PXA_OK);
  EXPECT_EQ(testsupport::ToHex(out.data(), static_cast<std::size_t>(outLen)),
            "14a3b81fdd355eeb8ff1961f2f33b70a5e389b5d11ba379fcebf25edfb7ba1ef");
}

TEST(StaticKeystore, OtherNamesAreNotFoundAndLeaveOutputsAlone) {
  QVKeystoreStatic store;
  for (const char* name : {"QV_ENCRYPT_DECRYPT_0", "qv_encypt_decrypt_0", "QV_ENCYPT_DECRYPT_0 ", "QV_HMAC_INTEGRITY_1",
                           "", "QV_ENCYPT_DECRYPT_", "ZKSystem"}) {
    SecureBlock key(3, 0x77);
    QVKeyControlData ctl;
    ctl.algorithm = "before";
    ctl.state = 9;
    EXPECT_EQ(store.getKey(name, key, ctl, 0), KS_ERR_KEY_NOT_FOUND) << '"' << name << '"';
    EXPECT_EQ(key, SecureBlock(3, 0x77)) << name;
    EXPECT_EQ(ctl.algorithm, "before") << name;
    EXPECT_EQ(ctl.state, 9) << name;
  }
}

TEST(StaticKeystore, SupportsOnlyWhatAFixedKeyAllows) {
  QVKeystoreStatic store;
  EXPECT_EQ(store.getPluginName(), "QVStaticKeystore");
  EXPECT_EQ(store.getPluginDescription(), "PAX built-in keystore with static keys");
  EXPECT_EQ(store.re_sync(), KS_SUCCESS);
  EXPECT_EQ(store.refreshKeys(false), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.refreshKeys(true), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.createKey("k"), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.createKeyPair("k"), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.destroyKey("QV_ENCYPT_DECRYPT_0", 0), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.reKey("QV_ENCYPT_DECRYPT_0"), KS_ERR_NOT_SUPPORTED);
  std::vector<QVKeyListEntry> keys = {{"kept", 3}};
  EXPECT_EQ(store.listKeys(true, keys), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"kept", 3}}));
  SecureBlock key(2, 9);
  QVKeyControlData ctl;
  EXPECT_EQ(store.updateKey("QV_ENCYPT_DECRYPT_0", 1, key), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(store.updateKeyMeta("QV_ENCYPT_DECRYPT_0", 1, ctl), KS_ERR_NOT_SUPPORTED);
  EXPECT_EQ(key, SecureBlock(2, 9));
}

TEST(KeystoreManager, FindsExactNamesAndReplacesOnReRegistration) {
  CQVKeystoreMgr manager;
  EXPECT_EQ(manager.GetKeystore("ZKSystem"), nullptr);
  auto first = std::make_shared<QVKeystoreStatic>();
  auto second = std::make_shared<QVKeystoreStatic>();
  EXPECT_TRUE(manager.AddKeystore("ZKSystem", first));
  EXPECT_EQ(manager.GetKeystore("ZKSystem"), first);
  EXPECT_EQ(manager.GetKeystore("zksystem"), nullptr);
  EXPECT_EQ(manager.GetKeystore("ZKSystem "), nullptr);
  EXPECT_TRUE(manager.AddKeystore("ZKSystem", second));
  EXPECT_EQ(manager.GetKeystore("ZKSystem"), second);
  EXPECT_EQ(first.use_count(), 1) << "the replaced keystore must be released";
  EXPECT_EQ(manager.GetKeystoreNames(), std::vector<std::string>{"ZKSystem"});
}

TEST(KeystoreManager, NamesDependOnlyOnHowManyAreRegistered) {
  CQVKeystoreMgr manager;
  EXPECT_TRUE(manager.GetKeystoreNames().empty());
  manager.AddKeystore("tenant-a", std::make_shared<QVKeystoreStatic>());
  EXPECT_EQ(manager.GetKeystoreNames(), std::vector<std::string>{"ZKSystem"});
  manager.AddKeystore("tenant-b", std::make_shared<QVKeystoreStatic>());
  const std::vector<std::string> two = {"ZKSystem", "Initial_Tenant"};
  EXPECT_EQ(manager.GetKeystoreNames(), two);
  manager.AddKeystore("tenant-c", std::make_shared<QVKeystoreStatic>());
  EXPECT_EQ(manager.GetKeystoreNames(), two);
}

TEST(KeystoreManager, ConcurrentRegistrationAndLookUp) {
  CQVKeystoreMgr manager;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&manager, t] {
      for (int i = 0; i < 200; ++i) {
        manager.AddKeystore("store" + std::to_string((t * 200 + i) % 50), std::make_shared<QVKeystoreStatic>());
        (void)manager.GetKeystore("store" + std::to_string(i % 50));
        (void)manager.GetKeystoreNames();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (int i = 0; i < 50; ++i) {
    EXPECT_NE(manager.GetKeystore("store" + std::to_string(i)), nullptr) << i;
  }
}

}  // namespace
}  // namespace QVCryptoService
