// Many threads use one initialised library at once while another thread keeps replacing the
// default keystore. Every result must be right. The ThreadSanitizer build runs this test too.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr int kWorkers = 4;
constexpr int kRounds = 40;

TEST(Concurrency, EnginesServeManyThreadsWhileKeystoresAreReplaced) {
  const testsupport::TempMachineRoot machine;
  ASSERT_EQ(QVSSVCrypto::generateSSV(machine.string(), false), KS_SUCCESS);
  ASSERT_TRUE(InitLibrary());
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));

  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::atomic<int> replacements{0};
  std::thread swapper([&] {
    while (!stop.load()) {
      SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
      replacements.fetch_add(1);
      std::this_thread::yield();
    }
  });

  std::vector<std::thread> workers;
  for (int worker = 0; worker < kWorkers; ++worker) {
    workers.emplace_back([&failures, worker] {
      const auto fail = [&failures](bool failed) {
        if (failed) {
          failures.fetch_add(1);
        }
      };
      for (int round = 0; round < kRounds; ++round) {
        const std::string plain = "worker " + std::to_string(worker) + " round " + std::to_string(round);
        std::string cipherText;
        SecureBlock decrypted;
        fail(EncryptData(plain, cipherText, "") != PXA_OK);
        fail(DecryptData(cipherText, decrypted, "") != PXA_OK ||
             std::string(decrypted.begin(), decrypted.end()) != plain);

        std::string hmac;
        fail(CreateHMAC(plain, hmac) != PXA_OK);
        fail(!VerifyHMAC(plain, hmac));
        fail(VerifyHMAC(plain + "!", hmac));

        std::string ssvText;
        SecureBlock ssvPlain;
        fail(EncryptWithSSV(plain, ssvText) != PXA_OK);
        fail(DecryptWithSSV(ssvText, ssvPlain) != PXA_OK || std::string(ssvPlain.begin(), ssvPlain.end()) != plain);

        std::string checksum;
        fail(CreateChecksum(plain, checksum) != PXA_OK || !VerifyChecksum(plain, checksum));

        if (round % 10 == 0) {
          std::string passwordText;
          SecureBlock passwordPlain;
          fail(EncryptWithPassword(plain, "pw", passwordText) != PXA_OK);
          fail(DecryptWithPassword(passwordText, "pw", passwordPlain) != PXA_OK ||
               std::string(passwordPlain.begin(), passwordPlain.end()) != plain);
        }
      }
    });
  }
  for (std::thread& worker : workers) {
    worker.join();
  }
  stop.store(true);
  swapper.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_GT(replacements.load(), 0) << "the keystore must have been replaced while the workers ran";
}

}  // namespace
}  // namespace QVCryptoService
