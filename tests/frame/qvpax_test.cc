#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvhashing.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/qvsigning.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

// The singleton lives for the whole process, so these tests run in order in one binary.
TEST(ServiceObject, InitLibraryBuildsOneSingletonWithEveryEngineAndNoKeystore) {
  std::vector<std::thread> threads;
  std::vector<QVpax*> seen(4, nullptr);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] {
      EXPECT_TRUE(InitLibrary());
      seen[i] = QVpax::getInstance().get();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  QVpax* const instance = QVpax::getInstance().get();
  ASSERT_NE(instance, nullptr);
  for (QVpax* one : seen) {
    EXPECT_EQ(one, instance);
  }
  EXPECT_TRUE(InitLibrary());
  EXPECT_EQ(QVpax::getInstance().get(), instance);

  EXPECT_EQ(instance->CertificateIntrf(), nullptr);
  EXPECT_EQ(instance->SecureCommsIntrf(), nullptr);
  EXPECT_NE(instance->HashingIntrf(), nullptr);
  EXPECT_NE(instance->SigningIntrf(), nullptr);
  EXPECT_NE(instance->CryptoIntrf(), nullptr);
  EXPECT_NE(instance->SSVCryptoIntrf(), nullptr);
  ASSERT_NE(instance->GetKeystoreMgr(), nullptr);
  EXPECT_TRUE(instance->GetKeystoreMgr()->GetKeystoreNames().empty());
  EXPECT_EQ(instance->CryptoIntrf(), instance->CryptoIntrf()) << "accessors hand out the same engine";
}

TEST(ServiceObject, SetKeystoreRegistersAndReplaces) {
  ASSERT_TRUE(InitLibrary());
  auto first = std::make_shared<QVKeystoreStatic>();
  auto second = std::make_shared<QVKeystoreStatic>();
  EXPECT_TRUE(SetKeystore("ZKSystem", first));
  const std::shared_ptr<CQVKeystoreMgr> manager = QVpax::getInstance()->GetKeystoreMgr();
  EXPECT_EQ(manager->GetKeystore("ZKSystem"), first);
  EXPECT_TRUE(SetKeystore("ZKSystem", second));
  EXPECT_EQ(manager->GetKeystore("ZKSystem"), second);
  EXPECT_EQ(manager->GetKeystoreNames(), std::vector<std::string>{"ZKSystem"});
  QVpax::getInstance()->addKeystoreImpl("Tenant", first);
  EXPECT_EQ(manager->GetKeystore("Tenant"), first);
}

TEST(ServiceObject, CopiesShareTheEngines) {
  ASSERT_TRUE(InitLibrary());
  QVpax copy(*QVpax::getInstance());
  EXPECT_EQ(copy.CryptoIntrf(), QVpax::getInstance()->CryptoIntrf());
  EXPECT_EQ(copy.GetKeystoreMgr(), QVpax::getInstance()->GetKeystoreMgr());
}

}  // namespace
}  // namespace QVCryptoService
