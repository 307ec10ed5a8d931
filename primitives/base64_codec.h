#pragma once

// The one base64 codec of the library (standard alphabet, "=" padding, one line), shared by the
// exported base64_encode, the record readers and the JSON library's binary values.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService {

// AppendBase64 appends the base64 of `size` bytes to `out`.
void AppendBase64(std::string& out, const std::uint8_t* data, std::size_t size);

// Which texts DecodeBase64 takes. kWellFormed: whole groups of the alphabet with padding only at
// the end, as OpenSSL's decoder also takes them (bits that padding leaves unused may be set).
// kCanonical: additionally those unused bits must be zero, so that exactly one text gives the
// bytes; for data that must write back unchanged.
enum class Base64Form : std::uint8_t { kWellFormed, kCanonical };

// DecodeBase64Into decodes `text` into `out`, which has room for text.size() / 4 * 3 bytes, and
// returns the number of bytes written, or kNotDecoded for text that is not of the given form
// (what was written before the fault is then meaningless).
constexpr std::size_t kNotDecoded = static_cast<std::size_t>(-1);
std::size_t DecodeBase64Into(std::string_view text, std::uint8_t* out, Base64Form form);

// DecodeBase64 decodes `text` into `bytes`; false (with `bytes` unspecified) for anything that is
// not of the given form: a stray character, a missing pad, a line break.
bool DecodeBase64(std::string_view text, std::vector<std::uint8_t>& bytes, Base64Form form);

}  // namespace QVCryptoService
