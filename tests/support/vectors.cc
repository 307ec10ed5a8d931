#include "tests/support/vectors.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace testsupport {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot open " + path);
  }
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

std::vector<std::uint8_t> FromHex(const std::string& hex) {
  if (hex.size() % 2 != 0) {
    throw std::runtime_error("odd hex length");
  }
  std::vector<std::uint8_t> bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
  }
  return bytes;
}

std::string ToHex(const std::uint8_t* data, std::size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    hex.push_back(kDigits[data[i] >> 4]);
    hex.push_back(kDigits[data[i] & 15]);
  }
  return hex;
}

}  // namespace testsupport
