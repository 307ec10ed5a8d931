#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

// ReadFile returns a file's bytes; a missing file fails the calling test with its path.
std::string ReadFile(const std::string& path);

std::vector<std::uint8_t> FromHex(const std::string& hex);
std::string ToHex(const std::uint8_t* data, std::size_t size);
inline std::string ToHex(const std::vector<std::uint8_t>& bytes) { return ToHex(bytes.data(), bytes.size()); }

}  // namespace testsupport
