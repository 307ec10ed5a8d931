#pragma once

// Small helpers shared by the benchmark files.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

namespace qvbench {

// PairName is "<operation>/<side>/<size>".
inline std::string PairName(const std::string& operation, const std::string& side, std::int64_t size) {
  return operation + "/" + side + "/" + std::to_string(size);
}

// Register adds a benchmark under `name` that reports bytes processed for `size` bytes a call.
template <typename Body>
benchmark::internal::Benchmark* Register(const std::string& name, std::int64_t size, Body body) {
  return benchmark::RegisterBenchmark(name.c_str(), [size, body = std::move(body)](benchmark::State& state) {
    body(state);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * size);
  });
}

// Fail stops a benchmark whose call did not do its work, so no figure is reported for it.
inline bool Fail(benchmark::State& state, const char* what) {
  state.SkipWithError(what);
  return false;
}

}  // namespace qvbench
