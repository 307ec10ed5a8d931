// The benchmark runner: prepares the environment, then hands over to Google Benchmark.

#include "bench/bench_environment.h"
#include "bench/registration.h"

#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  try {
    const qvbench::BenchEnvironment environment;
    qvbench::RegisterEncryptionBenchmarks();
    qvbench::RegisterHashingBenchmarks();
    qvbench::RegisterSsvBenchmarks();
    qvbench::RegisterSecureBlockBenchmarks();
    qvbench::RegisterJsonBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
  } catch (const std::exception& error) {
    std::cerr << "qvcs_bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
