#pragma once

// The base64 codec's code paths. The codec runs the fastest path the processor has, chosen once;
// the paths give the same text and the same bytes, and refuse the same texts. Tests and the fuzz
// target run each path by name to compare them.

#include "primitives/base64_codec.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace QVCryptoService {

enum class Base64Path : std::uint8_t { kScalar, kSsse3, kAvx2 };

// Base64PathRuns tells whether this processor can run `path` (the scalar path always runs).
bool Base64PathRuns(Base64Path path) noexcept;

// The path the codec's functions use: the fastest one that runs here.
Base64Path ChosenBase64Path() noexcept;

// AppendBase64 and DecodeBase64Into on a given path, which must run here.
void AppendBase64On(Base64Path path, std::string& out, const std::uint8_t* data, std::size_t size);
std::size_t DecodeBase64IntoOn(Base64Path path, std::string_view text, std::uint8_t* out, Base64Form form);

// The vector kernels behind the paths (primitives/base64_x86.cc). Each encodes whole 3-byte
// groups from the front of `data`, writing 4 characters per group to `out`, and returns how many
// bytes it consumed, leaving a tail for the scalar code. Each decode kernel decodes whole
// 4-character groups of `text` (which holds no padding) and returns how many characters it
// consumed, or kNotDecoded as soon as it meets a character outside the alphabet.
std::size_t EncodeBase64Ssse3(const std::uint8_t* data, std::size_t size, char* out) noexcept;
std::size_t EncodeBase64Avx2(const std::uint8_t* data, std::size_t size, char* out) noexcept;
std::size_t DecodeBase64Ssse3(const char* text, std::size_t size, std::uint8_t* out) noexcept;
std::size_t DecodeBase64Avx2(const char* text, std::size_t size, std::uint8_t* out) noexcept;

}  // namespace QVCryptoService
