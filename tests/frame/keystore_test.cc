#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/keystore_static.h>

#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(KeyState, NamesEachStateAndNoOtherNumber) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("frame_key_states.tsv")) {
    const char* name = QVKeyStateName(std::stoi(row["state"]));
    EXPECT_EQ(name == nullptr ? "-" : std::string(name), row["name"]) << row.where;
  }
}

TEST(StaticKeystore, ServesOneActiveKeyUnderBothNamesForEveryVersion) {
  QVKeystoreStatic store;
  SecureBlock reference;
  QVKeyControlData ignored;
  ASSERT_EQ(store.getKey("QV_ENCYPT_DECRYPT_0", reference, ignored, 0), KS_SUCCESS);
  for (const auto& [name, algorithm, usageMask] :
       {std::tuple{"QV_ENCYPT_DECRYPT_0", "aes-256-cbc", 4}, std::tuple{"QV_HMAC_INTEGRITY_0", "sha256", 0}}) {
    for (const std::int32_t version : {0, 7, -3}) {
      SecureBlock key(5, 0xEE);
      QVKeyControlData ctl;
      ctl.version = 42;
      ASSERT_EQ(store.getKey(name, key, ctl, version), KS_SUCCESS) << name;
      EXPECT_EQ(key, reference) << name << " version " << version;
      EXPECT_TRUE(ctl.state == 2 && ctl.keyLength == 32 && ctl.formatVersion == 0x01000000 && ctl.rotationPolicy == 0 &&
                  ctl.symmetric && ctl.version == 42)
          << name;
      EXPECT_TRUE(ctl.usageMask == usageMask && ctl.algorithm == algorithm) << name;
    }
  }
}

TEST(StaticKeystore, RefusesOtherNamesAndEveryChangeLeavingOutputsAlone) {
  QVKeystoreStatic store;
  for (const char* name : {"QV_ENCRYPT_DECRYPT_0", "qv_encypt_decrypt_0", "QV_ENCYPT_DECRYPT_0 ", "QV_HMAC_INTEGRITY_1",
                           "", "QV_ENCYPT_DECRYPT_"}) {
    SecureBlock key(3, 0x77);
    QVKeyControlData ctl;
    ctl.algorithm = "before";
    EXPECT_EQ(store.getKey(name, key, ctl, 0), KS_ERR_KEY_NOT_FOUND) << '"' << name << '"';
    EXPECT_EQ(key, SecureBlock(3, 0x77)) << name;
    EXPECT_EQ(ctl.algorithm, "before") << name;
  }
  EXPECT_EQ(store.getPluginName(), "QVStaticKeystore");
  EXPECT_EQ(store.getPluginDescription(), "PAX built-in keystore with static keys");
  EXPECT_EQ(store.re_sync(), KS_SUCCESS);
  SecureBlock key(2, 9);
  QVKeyControlData ctl;
  std::vector<QVKeyListEntry> keys = {{"kept", 3}};
  for (const std::int32_t code :
       {store.refreshKeys(false), store.refreshKeys(true), store.createKey("k"), store.createKeyPair("k"),
        store.destroyKey("QV_ENCYPT_DECRYPT_0", 0), store.reKey("QV_ENCYPT_DECRYPT_0"), store.listKeys(true, keys),
        store.updateKey("QV_ENCYPT_DECRYPT_0", 1, key), store.updateKeyMeta("QV_ENCYPT_DECRYPT_0", 1, ctl)}) {
    EXPECT_EQ(code, KS_ERR_NOT_SUPPORTED);
  }
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"kept", 3}}));
  EXPECT_EQ(key, SecureBlock(2, 9));
}

TEST(KeystoreManager, FindsExactNamesReplacesAndListsByCount) {
  CQVKeystoreMgr manager;
  EXPECT_EQ(manager.GetKeystore("ZKSystem"), nullptr);
  EXPECT_TRUE(manager.GetKeystoreNames().empty());
  auto first = std::make_shared<QVKeystoreStatic>();
  auto second = std::make_shared<QVKeystoreStatic>();
  EXPECT_TRUE(manager.AddKeystore("tenant-a", first));
  EXPECT_EQ(manager.GetKeystore("tenant-a"), first);
  EXPECT_EQ(manager.GetKeystore("Tenant-a"), nullptr);
  EXPECT_EQ(manager.GetKeystore("tenant-a "), nullptr);
  EXPECT_EQ(manager.GetKeystoreNames(), std::vector<std::string>{"ZKSystem"}) << "names follow the count only";
  EXPECT_TRUE(manager.AddKeystore("tenant-a", second));
  EXPECT_EQ(manager.GetKeystore("tenant-a"), second);
  EXPECT_EQ(first.use_count(), 1) << "the replaced keystore must be released";
  manager.AddKeystore("tenant-b", first);
  const std::vector<std::string> two = {"ZKSystem", "Initial_Tenant"};
  EXPECT_EQ(manager.GetKeystoreNames(), two);
  manager.AddKeystore("tenant-c", first);
  EXPECT_EQ(manager.GetKeystoreNames(), two);
}

}  // namespace
}  // namespace QVCryptoService
