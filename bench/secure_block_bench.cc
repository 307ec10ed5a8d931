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
  // The pool is shared by every thread: its throughput on two threads against one shows whether
  // its lock is a bottleneck.
  Register(PairName("secure_block_threads", "ours", 32), 32,
           [](benchmark::State& state) {
             for (auto _ : state) {
               QVCryptoService::SecureBlock block(32);
               benchmark::DoNotOptimize(block.data());
             }
             state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
           })
      ->Threads(1)
      ->Threads(2)
      ->UseRealTime();
}

}  // namespace qvbench
