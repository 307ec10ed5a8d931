#pragma once

// What every benchmark needs before it runs: the library started, the static keystore registered
// as "ZKSystem", and an SSV stored in a temporary machine root that is removed at exit.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace qvbench {

class BenchEnvironment {
 public:
  // Sets QVCRYPTO_MACHINE_ROOT to a fresh temporary directory, registers the keystore and
  // generates an SSV there. Throws std::runtime_error when any step fails.
  BenchEnvironment();
  ~BenchEnvironment();
  BenchEnvironment(const BenchEnvironment&) = delete;
  BenchEnvironment& operator=(const BenchEnvironment&) = delete;

 private:
  std::filesystem::path root_;
};

using Bytes = std::vector<std::uint8_t>;

// SampleBytes returns `size` fixed pseudo-random bytes (the same bytes for a size every time).
const Bytes& SampleBytes(std::size_t size);

// The sizes the issue asks for.
constexpr std::int64_t kSmall = 64;
constexpr std::int64_t kPage = 4096;
constexpr std::int64_t kMiB = std::int64_t{1} << 20;

}  // namespace qvbench
