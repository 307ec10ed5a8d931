// SecureBlock allocation and release against std::vector of the same size.

#include "bench/bench_environment.h"
#include "bench/bench_support.h"
#include "bench/registration.h"

#include <qvcryptoservice/secure_block.h>

#include <vector>

namespace qvbench {

void RegisterSecureBlockBenchmarks() {
  for (const std::int64_t size : {std::int64_t{32}, kPage}) {
    const auto count = static_cast<std::size_t>(size);
    Register(PairName("secure_block", "ours", size), size, [count](benchmark::State& state) {
      for (auto _ : state) {
        QVCryptoService::SecureBlock block(count);
        benchmark::DoNotOptimize(block.data());
      }
    });
    Register(PairName("secure_block", "vector", size), size, [count](benchmark::State& state) {
      for (auto _ : state) {
        std::vector<std::uint8_t> block(count);
        benchmark::DoNotOptimize(block.data());
      }
    });
  }
}

}  // namespace qvbench
