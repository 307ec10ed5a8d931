#pragma once

// UTF-8 helpers of the reader.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zkJson {

// Utf8SequenceLength returns the length (2 to 4) of the well-formed UTF-8 sequence that starts
// with the non-ASCII byte at `p`, or 0 when it is not one: a stray continuation byte, an
// overlong form, an encoded surrogate, a code point above U+10FFFF or a sequence cut short by
// `end`.
std::size_t Utf8SequenceLength(const char* p, const char* end);

// AppendUtf8 appends the UTF-8 form of a Unicode scalar value (not a surrogate, at most
// U+10FFFF).
void AppendUtf8(std::string& out, std::uint32_t codePoint);

}  // namespace zkJson
