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
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

// One round of each family for `plain`; true when every result is right.
bool RoundTripsOfEachFamily(const std::string& plain) {
  std::string text;
  SecureBlock out;
  const SecureBlock expected(plain.begin(), plain.end());
  return EncryptData(plain, text, "") == PXA_OK && DecryptData(text, out, "") == PXA_OK && out == expected &&
         CreateHMAC(plain, text) == PXA_OK && VerifyHMAC(plain, text) && !VerifyHMAC(plain + "!", text) &&
         EncryptWithSSV(plain, text) == PXA_OK && DecryptWithSSV(text, out) == PXA_OK && out == expected &&
         CreateChecksum(plain, text) == PXA_OK && VerifyChecksum(plain, text);
}

TEST(Concurrency, EnginesServeManyThreadsWhileKeystoresAreReplaced) {
  const testsupport::TempMachineRoot machine;
  ASSERT_EQ(QVSSVCrypto::generateSSV(machine.string(), false), KS_SUCCESS);
  ASSERT_TRUE(InitLibrary());
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  std::atomic<int> failures{0};
  std::atomic<int> replacements{0};
  {
    const std::jthread swapper([&replacements](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
        replacements.fetch_add(1);
        std::this_thread::yield();
      }
    });
    std::vector<std::jthread> workers;
    for (int worker = 0; worker < 4; ++worker) {
      workers.emplace_back([&failures, worker] {
        for (int round = 0; round < 40; ++round) {
          const std::string plain = "worker " + std::to_string(worker) + " round " + std::to_string(round);
          failures.fetch_add(RoundTripsOfEachFamily(plain) ? 0 : 1);
        }
      });
    }
  }  // the workers are joined, then the swapper is stopped and joined
  EXPECT_EQ(failures.load(), 0);
  EXPECT_GT(replacements.load(), 0) << "the keystore must have been replaced while the workers ran";
}

}  // namespace
}  // namespace QVCryptoService
