#pragma once

// Base64 for binary values, kept inside the JSON library so that it stands on its own.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zkJson {

// AppendBase64 appends the standard-alphabet, "="-padded base64 of `size` bytes to `out`.
void AppendBase64(std::string& out, const std::uint8_t* data, std::size_t size);

// DecodeCanonicalBase64 decodes `text` into `bytes` only when it is exactly what AppendBase64
// makes of some bytes (padded, no white space, unused bits zero); false otherwise, `bytes`
// then unspecified. Anything else must stay as text, or writing it back would change it.
bool DecodeCanonicalBase64(std::string_view text, std::vector<std::uint8_t>& bytes);

}  // namespace zkJson
