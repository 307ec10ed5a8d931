#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace QVCryptoService {
namespace {

TEST(ServiceObject, InitLibraryBuildsOneSingletonWithEveryEngineAndRegistersKeystores) {
  QVpax* seen = nullptr;
  std::thread other([&seen] { seen = InitLibrary() ? QVpax::getInstance().get() : nullptr; });
  EXPECT_TRUE(InitLibrary());
  other.join();
  QVpax* const instance = QVpax::getInstance().get();
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(seen, instance);
  EXPECT_TRUE(InitLibrary());
  EXPECT_EQ(QVpax::getInstance().get(), instance);
  EXPECT_EQ(instance->CertificateIntrf(), nullptr);
  EXPECT_EQ(instance->SecureCommsIntrf(), nullptr);
  EXPECT_TRUE(instance->HashingIntrf() && instance->SigningIntrf() && instance->CryptoIntrf() &&
              instance->SSVCryptoIntrf());
  ASSERT_NE(instance->GetKeystoreMgr(), nullptr);
  EXPECT_TRUE(instance->GetKeystoreMgr()->GetKeystoreNames().empty());
  QVpax copy(*instance);
  EXPECT_EQ(copy.CryptoIntrf(), instance->CryptoIntrf()) << "copies share the engines";
  EXPECT_EQ(copy.GetKeystoreMgr(), instance->GetKeystoreMgr());
  auto store = std::make_shared<QVKeystoreStatic>();
  EXPECT_TRUE(SetKeystore("ZKSystem", store));
  instance->addKeystoreImpl("Tenant", store);
  EXPECT_TRUE(instance->GetKeystoreMgr()->GetKeystore("ZKSystem") == store &&
              instance->GetKeystoreMgr()->GetKeystore("Tenant") == store);
}

}  // namespace
}  // namespace QVCryptoService
