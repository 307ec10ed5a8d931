#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace testsupport {

// RandomBytes draws from a generator that starts from a fixed state, so that a failing case
// repeats on every run.
class RandomBytes {
 public:
  explicit RandomBytes(std::uint32_t start = 20240229) : m_generator(start) {}

  std::vector<std::uint8_t> operator()(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(m_generator());
    }
    return bytes;
  }

 private:
  std::mt19937 m_generator;
};

}  // namespace testsupport
