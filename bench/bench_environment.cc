#include "bench/bench_environment.h"

#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>

namespace qvbench {

BenchEnvironment::BenchEnvironment() {
  std::random_device entropy;
  const auto base = std::filesystem::temp_directory_path();
  do {
    root_ = base / ("qvcs-bench-" + std::to_string(entropy()) + std::to_string(entropy()));
  } while (!std::filesystem::create_directory(root_));
  ::setenv("QVCRYPTO_MACHINE_ROOT", root_.c_str(), 1);

  using namespace QVCryptoService;
  InitLibrary();
  SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>());
  const auto staging = root_ / "staging";
  std::filesystem::create_directory(staging);
  if (QVSSVCrypto::generateSSV(staging.string(), true) != KS_SUCCESS) {
    throw std::runtime_error("could not generate an SSV in " + root_.string());
  }
}

BenchEnvironment::~BenchEnvironment() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

const Bytes& SampleBytes(std::size_t size) {
  static std::mutex mutex;
  static std::map<std::size_t, std::vector<std::uint8_t>> samples;
  const std::lock_guard lock(mutex);
  auto& bytes = samples[size];
  if (bytes.size() != size) {
    std::mt19937 generator(static_cast<std::uint32_t>(size));
    bytes.resize(size);
    for (auto& byte : bytes) {
      byte = static_cast<std::uint8_t>(generator());
    }
  }
  return bytes;
}

}  // namespace qvbench
