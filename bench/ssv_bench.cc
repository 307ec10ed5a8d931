// SSV encryption and decryption of 64 bytes. The baseline is EncryptData at 64 B (registered in
// encryption_bench.cc): the issue asks how much the machine-bound key costs over a keystore key.

#include "bench/bench_environment.h"
#include "bench/bench_support.h"
#include "bench/registration.h"

#include <qvcryptoservice/ssv_functions.h>

#include <string>
#include <vector>

namespace qvbench {

void RegisterSsvBenchmarks() {
  const std::vector<std::uint8_t>& bytes = SampleBytes(kSmall);
  static const std::string plain(bytes.begin(), bytes.end());
  Register(PairName("ssv_encrypt", "ours", kSmall), kSmall, [](benchmark::State& state) {
    std::string cipher;
    for (auto _ : state) {
      if (QVCryptoService::EncryptWithSSV(plain, cipher) != QVCryptoService::PXA_OK) {
        Fail(state, "EncryptWithSSV failed");
        break;
      }
      benchmark::DoNotOptimize(cipher.data());
    }
  });
  Register(PairName("ssv_decrypt", "ours", kSmall), kSmall, [](benchmark::State& state) {
    std::string cipher;
    (void)QVCryptoService::EncryptWithSSV(plain, cipher);
    QVCryptoService::SecureBlock decrypted;
    for (auto _ : state) {
      if (QVCryptoService::DecryptWithSSV(cipher, decrypted) != QVCryptoService::PXA_OK ||
          decrypted.size() != plain.size()) {
        Fail(state, "DecryptWithSSV failed");
        break;
      }
      benchmark::DoNotOptimize(decrypted.data());
    }
  });
}

}  // namespace qvbench
