// HMAC, checksum and salted digest records against one-shot HMAC and SHA-256, and the streaming C
// hash API against EVP_DigestUpdate.

#include "bench/bench_environment.h"
#include "bench/bench_support.h"
#include "bench/openssl_baseline.h"
#include "bench/registration.h"

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace qvbench {
namespace {

using QVCryptoService::PXA_OK;
using QVCryptoService::SecureBlock;

constexpr std::size_t kSha256Length = 32;
constexpr std::int64_t kStreamTotal = std::int64_t{256} << 20;
constexpr std::size_t kStreamChunk = std::size_t{64} << 10;

SecureBlock IntegrityKey() {
  QVCryptoService::QVKeystoreStatic store;
  SecureBlock key;
  QVCryptoService::QVKeyControlData ctl;
  (void)store.getKey("QV_HMAC_INTEGRITY_0", key, ctl, 0);
  return key;
}

void RegisterHmac(std::int64_t size) {
  const Bytes& data = SampleBytes(static_cast<std::size_t>(size));
  Register(PairName("create_hmac", "ours", size), size, [&data](benchmark::State& state) {
    std::string hmac;
    for (auto _ : state) {
      if (QVCryptoService::CreateHMAC(data.data(), data.size(), hmac) != PXA_OK) {
        Fail(state, "CreateHMAC failed");
        break;
      }
      benchmark::DoNotOptimize(hmac.data());
    }
  });
  Register(PairName("create_hmac", "openssl", size), size, [&data](benchmark::State& state) {
    const SecureBlock key = IntegrityKey();
    std::array<std::uint8_t, kSha256Length> mac{};
    for (auto _ : state) {
      if (!RawHmacSha256(key.data(), key.size(), data.data(), data.size(), mac.data())) {
        Fail(state, "HMAC failed");
        break;
      }
      benchmark::DoNotOptimize(mac.data());
    }
  });
  Register(PairName("verify_hmac", "ours", size), size, [&data](benchmark::State& state) {
    std::string hmac;
    (void)QVCryptoService::CreateHMAC(data.data(), data.size(), hmac);
    for (auto _ : state) {
      if (!QVCryptoService::VerifyHMAC(data.data(), data.size(), hmac)) {
        Fail(state, "VerifyHMAC refused its own HMAC");
        break;
      }
    }
  });
  Register(PairName("verify_hmac", "openssl", size), size, [&data](benchmark::State& state) {
    const SecureBlock key = IntegrityKey();
    std::array<std::uint8_t, kSha256Length> expected{};
    (void)RawHmacSha256(key.data(), key.size(), data.data(), data.size(), expected.data());
    std::array<std::uint8_t, kSha256Length> mac{};
    for (auto _ : state) {
      if (!RawHmacSha256(key.data(), key.size(), data.data(), data.size(), mac.data()) ||
          CRYPTO_memcmp(mac.data(), expected.data(), mac.size()) != 0) {
        Fail(state, "HMAC verification failed");
        break;
      }
    }
  });
}

void RegisterDigests(std::int64_t size) {
  const Bytes& data = SampleBytes(static_cast<std::size_t>(size));
  Register(PairName("create_checksum", "ours", size), size, [&data](benchmark::State& state) {
    std::string checksum;
    for (auto _ : state) {
      if (QVCryptoService::CreateChecksum(data.data(), static_cast<std::int32_t>(data.size()), checksum) != PXA_OK) {
        Fail(state, "CreateChecksum failed");
        break;
      }
      benchmark::DoNotOptimize(checksum.data());
    }
  });
  Register(PairName("create_checksum", "openssl", size), size, [&data](benchmark::State& state) {
    std::array<std::uint8_t, kSha256Length> digest{};
    for (auto _ : state) {
      if (!RawSha256(data.data(), data.size(), digest.data())) {
        Fail(state, "SHA-256 failed");
        break;
      }
      benchmark::DoNotOptimize(digest.data());
    }
  });
  // A salted digest is the digest of a fresh 16-byte salt followed by the digest of the data.
  Register(PairName("create_digest", "ours", size), size, [&data](benchmark::State& state) {
    std::string digest;
    for (auto _ : state) {
      if (QVCryptoService::CreateDigest(data.data(), static_cast<std::int32_t>(data.size()), digest) != PXA_OK) {
        Fail(state, "CreateDigest failed");
        break;
      }
      benchmark::DoNotOptimize(digest.data());
    }
  });
  Register(PairName("create_digest", "openssl", size), size, [&data](benchmark::State& state) {
    std::array<std::uint8_t, 16 + kSha256Length> saltedInner{};
    std::array<std::uint8_t, kSha256Length> outer{};
    for (auto _ : state) {
      if (!RawRandom(saltedInner.data(), 16) || !RawSha256(data.data(), data.size(), saltedInner.data() + 16) ||
          !RawSha256(saltedInner.data(), saltedInner.size(), outer.data())) {
        Fail(state, "salted SHA-256 failed");
        break;
      }
      benchmark::DoNotOptimize(outer.data());
    }
  });
}

void RegisterStreaming() {
  const Bytes& chunk = SampleBytes(kStreamChunk);
  constexpr std::int64_t kChunks = kStreamTotal / static_cast<std::int64_t>(kStreamChunk);
  Register(PairName("hash_stream", "ours", kStreamTotal), kStreamTotal, [&chunk](benchmark::State& state) {
    std::array<std::uint8_t, kSha256Length> digest{};
    for (auto _ : state) {
      QVHashCtx handle = QVHashInitCtx();
      bool ok = handle != nullptr;
      for (std::int64_t i = 0; ok && i < kChunks; ++i) {
        ok = QVHashUpdate(handle, chunk.data(), chunk.size());
      }
      if (!ok || !QVHashFinal(handle, digest.data())) {
        Fail(state, "the C hash API failed");
        break;
      }
      benchmark::DoNotOptimize(digest.data());
    }
  });
  Register(PairName("hash_stream", "openssl", kStreamTotal), kStreamTotal, [&chunk](benchmark::State& state) {
    std::array<std::uint8_t, kSha256Length> digest{};
    for (auto _ : state) {
      const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
      bool ok = ctx && EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) == 1;
      for (std::int64_t i = 0; ok && i < kChunks; ++i) {
        ok = EVP_DigestUpdate(ctx.get(), chunk.data(), chunk.size()) == 1;
      }
      if (!ok || EVP_DigestFinal_ex(ctx.get(), digest.data(), nullptr) != 1) {
        Fail(state, "EVP digest failed");
        break;
      }
      benchmark::DoNotOptimize(digest.data());
    }
  });
}

}  // namespace

void RegisterHashingBenchmarks() {
  for (const std::int64_t size : {kSmall, kMiB}) {
    RegisterHmac(size);
    RegisterDigests(size);
  }
  RegisterStreaming();
}

}  // namespace qvbench
