#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include "tests/support/test_keystore.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace QVCryptoService {
namespace {

using testsupport::TestKeystore;

const std::string kData = "configuration blob";
const auto* kBytes = reinterpret_cast<const std::uint8_t*>(kData.data());
const auto kLength = static_cast<std::int32_t>(kData.size());

class OneCallHashing : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(InitLibrary()); }
};

TEST_F(OneCallHashing, ChecksumsAreEqualAndVerifyInBothForms) {
  std::string first;
  std::string second;
  ASSERT_EQ(CreateChecksum(kBytes, kLength, first), PXA_OK);
  ASSERT_EQ(CreateChecksum(kData, second), PXA_OK);
  EXPECT_EQ(first, second);
  EXPECT_TRUE(VerifyChecksum(kData, first));
  EXPECT_TRUE(VerifyChecksum(kBytes, kLength, first));
  std::string changed = kData;
  changed[0] ^= 0x20;
  EXPECT_FALSE(VerifyChecksum(changed, first));
}

TEST_F(OneCallHashing, DigestsDifferAndBothVerify) {
  std::string first;
  std::string second;
  ASSERT_EQ(CreateDigest(kBytes, kLength, first), PXA_OK);
  ASSERT_EQ(CreateDigest(kData, second), PXA_OK);
  EXPECT_NE(first, second);
  EXPECT_TRUE(VerifyDigest(kData, first));
  EXPECT_TRUE(VerifyDigest(kBytes, kLength, second));
  EXPECT_FALSE(VerifyDigest(kData + " ", first));
  EXPECT_FALSE(VerifyDigest(kData, "not a record"));
}

TEST_F(OneCallHashing, PasswordsAndDerivedKeys) {
  std::string hash;
  ASSERT_EQ(CreatePasswordHash("hunter2", hash), PXA_OK);
  EXPECT_TRUE(VerifyPasswordHash("hunter2", hash));
  EXPECT_FALSE(VerifyPasswordHash("hunter3", hash));
  std::string first;
  std::string second;
  ASSERT_EQ(CreateDerivedKey("abc", first), PXA_OK);
  ASSERT_EQ(CreateDerivedKey("abc", second), PXA_OK);
  EXPECT_EQ(first, "qUr6n5GGtv+vkVpIQKESktRzPwXPEEWXxsE4O/UtFJw=");
  EXPECT_EQ(first, second);
}

TEST_F(OneCallHashing, HmacNeedsTheSystemKeystoreAndSurvivesRotation) {
  std::string hmac = "untouched";
  const std::shared_ptr<CQVKeystoreMgr> manager = QVpax::getInstance()->GetKeystoreMgr();
  ASSERT_EQ(manager->GetKeystore("ZKSystem"), nullptr) << "no keystore is registered by default";
  EXPECT_EQ(CreateHMAC(kData, hmac), ~PxaResult{0});
  EXPECT_FALSE(VerifyHMAC(kData, "anything"));
  EXPECT_EQ(hmac, "untouched");
  auto store = std::make_shared<TestKeystore>();
  store->AddKey("QV_HMAC_INTEGRITY_0", 1, SecureBlock(32, 0x31), "sha256");
  ASSERT_TRUE(SetKeystore("ZKSystem", store));
  ASSERT_EQ(CreateHMAC(kBytes, kData.size(), hmac), PXA_OK);
  std::string again;
  ASSERT_EQ(CreateHMAC(kData, again), PXA_OK);
  EXPECT_EQ(hmac, again);
  EXPECT_TRUE(VerifyHMAC(kData, hmac));
  store->AddKey("QV_HMAC_INTEGRITY_0", 2, SecureBlock(32, 0x32), "sha256");
  EXPECT_TRUE(VerifyHMAC(kBytes, kData.size(), hmac)) << "made with version 1, still served";
  std::string rotated;
  ASSERT_EQ(CreateHMAC(kData, rotated), PXA_OK);
  EXPECT_NE(rotated, hmac);
  EXPECT_FALSE(VerifyHMAC(kData + "x", rotated));
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  EXPECT_FALSE(VerifyHMAC(kData, hmac)) << "another keystore, another key";
  std::string withStatic;
  ASSERT_EQ(CreateHMAC(kData, withStatic), PXA_OK);
  EXPECT_TRUE(VerifyHMAC(kData, withStatic));
}

}  // namespace
}  // namespace QVCryptoService
