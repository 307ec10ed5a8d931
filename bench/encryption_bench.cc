// EncryptData / DecryptData against one-shot AES-256-CBC, password encryption against PBKDF2 plus
// the cipher, and EncryptData on one and two threads.

#include "bench/bench_environment.h"
#include "bench/bench_support.h"
#include "bench/openssl_baseline.h"
#include "bench/registration.h"

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/keystore_static.h>

#include <array>
#include <string>

namespace qvbench {
namespace {

using QVCryptoService::PXA_OK;
using QVCryptoService::SecureBlock;

const char* const kPassword = "correct horse battery staple";

SecureBlock StaticKey() {
  QVCryptoService::QVKeystoreStatic store;
  SecureBlock key;
  QVCryptoService::QVKeyControlData ctl;
  (void)store.getKey("QV_ENCYPT_DECRYPT_0", key, ctl, 0);
  return key;
}

void RegisterKeystoreEncryption(std::int64_t size) {
  const Bytes& plain = SampleBytes(static_cast<std::size_t>(size));
  Register(PairName("encrypt_data", "ours", size), size, [&plain](benchmark::State& state) {
    std::string cipher;
    for (auto _ : state) {
      if (QVCryptoService::EncryptData(plain.data(), plain.size(), cipher, "") != PXA_OK) {
        Fail(state, "EncryptData failed");
        break;
      }
      benchmark::DoNotOptimize(cipher.data());
    }
  });
  Register(PairName("encrypt_data", "openssl", size), size, [&plain](benchmark::State& state) {
    const SecureBlock key = StaticKey();
    std::array<std::uint8_t, kAesIvLength> iv{};
    Bytes cipher;
    for (auto _ : state) {
      if (!RawAesEncrypt(key.data(), plain.data(), plain.size(), iv.data(), cipher)) {
        Fail(state, "AES encryption failed");
        break;
      }
      benchmark::DoNotOptimize(cipher.data());
    }
  });
  Register(PairName("decrypt_data", "ours", size), size, [&plain](benchmark::State& state) {
    std::string cipher;
    (void)QVCryptoService::EncryptData(plain.data(), plain.size(), cipher, "");
    SecureBlock decrypted;
    for (auto _ : state) {
      if (QVCryptoService::DecryptData(cipher, decrypted, "") != PXA_OK || decrypted.size() != plain.size()) {
        Fail(state, "DecryptData failed");
        break;
      }
      benchmark::DoNotOptimize(decrypted.data());
    }
  });
  Register(PairName("decrypt_data", "openssl", size), size, [&plain](benchmark::State& state) {
    const SecureBlock key = StaticKey();
    std::array<std::uint8_t, kAesIvLength> iv{};
    Bytes cipher;
    (void)RawAesEncrypt(key.data(), plain.data(), plain.size(), iv.data(), cipher);
    Bytes decrypted;
    for (auto _ : state) {
      if (!RawAesDecrypt(key.data(), iv.data(), cipher, decrypted) || decrypted.size() != plain.size()) {
        Fail(state, "AES decryption failed");
        break;
      }
      benchmark::DoNotOptimize(decrypted.data());
    }
  });
}

void RegisterPasswordEncryption() {
  const Bytes& plain = SampleBytes(kSmall);
  Register(PairName("encrypt_with_password", "ours", kSmall), kSmall, [&plain](benchmark::State& state) {
    std::string cipher;
    for (auto _ : state) {
      if (QVCryptoService::EncryptWithPassword(plain.data(), plain.size(), kPassword, cipher) != PXA_OK) {
        Fail(state, "EncryptWithPassword failed");
        break;
      }
      benchmark::DoNotOptimize(cipher.data());
    }
  });
  Register(PairName("encrypt_with_password", "openssl", kSmall), kSmall, [&plain](benchmark::State& state) {
    std::array<std::uint8_t, 16> salt{};
    std::array<std::uint8_t, kAesKeyLength> key{};
    std::array<std::uint8_t, kAesIvLength> iv{};
    Bytes cipher;
    for (auto _ : state) {
      if (!RawRandom(salt.data(), salt.size()) || !RawPasswordKey(kPassword, salt.data(), salt.size(), key.data()) ||
          !RawAesEncrypt(key.data(), plain.data(), plain.size(), iv.data(), cipher)) {
        Fail(state, "PBKDF2 and AES failed");
        break;
      }
      benchmark::DoNotOptimize(cipher.data());
    }
  });
  Register(PairName("decrypt_with_password", "ours", kSmall), kSmall, [&plain](benchmark::State& state) {
    std::string cipher;
    (void)QVCryptoService::EncryptWithPassword(plain.data(), plain.size(), kPassword, cipher);
    SecureBlock decrypted;
    for (auto _ : state) {
      if (QVCryptoService::DecryptWithPassword(cipher, kPassword, decrypted) != PXA_OK ||
          decrypted.size() != plain.size()) {
        Fail(state, "DecryptWithPassword failed");
        break;
      }
      benchmark::DoNotOptimize(decrypted.data());
    }
  });
  Register(PairName("decrypt_with_password", "openssl", kSmall), kSmall, [&plain](benchmark::State& state) {
    std::array<std::uint8_t, 16> salt{};
    std::array<std::uint8_t, kAesKeyLength> key{};
    std::array<std::uint8_t, kAesIvLength> iv{};
    Bytes cipher;
    (void)RawRandom(salt.data(), salt.size());
    (void)RawPasswordKey(kPassword, salt.data(), salt.size(), key.data());
    (void)RawAesEncrypt(key.data(), plain.data(), plain.size(), iv.data(), cipher);
    Bytes decrypted;
    for (auto _ : state) {
      if (!RawPasswordKey(kPassword, salt.data(), salt.size(), key.data()) ||
          !RawAesDecrypt(key.data(), iv.data(), cipher, decrypted) || decrypted.size() != plain.size()) {
        Fail(state, "PBKDF2 and AES failed");
        break;
      }
      benchmark::DoNotOptimize(decrypted.data());
    }
  });
}

// Throughput of EncryptData at 64 B on one and two threads; bench/compare divides the two.
void RegisterThreadedEncryption() {
  const Bytes& plain = SampleBytes(kSmall);
  Register(PairName("encrypt_data_threads", "ours", kSmall), kSmall,
           [&plain](benchmark::State& state) {
             std::string cipher;
             for (auto _ : state) {
               if (QVCryptoService::EncryptData(plain.data(), plain.size(), cipher, "") != PXA_OK) {
                 Fail(state, "EncryptData failed");
                 break;
               }
               benchmark::DoNotOptimize(cipher.data());
             }
             state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
           })
      ->Threads(1)
      ->Threads(2)
      ->UseRealTime();
}

}  // namespace

void RegisterEncryptionBenchmarks() {
  for (const std::int64_t size : {kSmall, kPage, kMiB}) {
    RegisterKeystoreEncryption(size);
  }
  RegisterPasswordEncryption();
  RegisterThreadedEncryption();
}

}  // namespace qvbench
