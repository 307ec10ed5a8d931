// Strings and numbers.

#include "json/parser.h"

#include "json/string_bytes.h"
#include "json/utf8.h"
#include "json/value_access.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace zkJson {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int HexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// A decimal text that std::from_chars found out of range is too large when its leading digit
// lies above the units place (taking the exponent into account), and too small otherwise.
// `first` to `last` is a well-formed JSON number.
bool DecimalIsTooLarge(const char* first, const char* last) {
  const char* p = *first == '-' ? first + 1 : first;
  // Decimal position of the leading non-zero digit: 1 for the units, 0 for tenths, -1 for
  // hundredths. The grammar allows no leading zeros in the integer part.
  std::int64_t position = 0;
  if (*p != '0') {
    for (; p < last && IsDigit(*p); ++p) {
      ++position;
    }
  } else if (++p < last && *p == '.') {
    for (++p; p < last && *p == '0'; ++p) {
      --position;
    }
  }
  while (p < last && *p != 'e' && *p != 'E') {
    ++p;
  }
  // Exponents beyond this bound are all alike: nothing of any length here can offset them.
  constexpr std::int64_t kExponentBound = std::int64_t{1} << 40;
  std::int64_t exponent = 0;
  if (p < last) {
    ++p;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') {
      ++p;
    }
    for (; p < last && exponent < kExponentBound; ++p) {
      exponent = exponent * 10 + (*p - '0');
    }
    exponent = negative ? -exponent : exponent;
  }
  return position + exponent > 0;
}

}  // namespace

bool Parser::parseString(std::string& out) {
  const char* const opening = cur_;
  const char* p = cur_ + 1;
  while (true) {
    const char* run = p;
    // Whole words of plain ASCII first; in the default mode any byte from 0x80 up is plain too.
    const std::uint64_t endsRun = strict_ ? kEachHighBit : 0;
    while (end_ - p >= 8) {
      const std::uint64_t word = LoadWord(p);
      if ((QuoteBackslashOrControlAmong8(word) | (word & endsRun)) != 0) {
        break;
      }
      p += 8;
    }
    while (p < end_) {
      const auto byte = static_cast<std::uint8_t>(*p);
      if (byte == '"' || byte == '\\' || byte < 0x20) {
        break;
      }
      if (byte >= 0x80 && strict_) {
        const std::size_t length = Utf8SequenceLength(p, end_);
        if (length == 0) {
          return fail(p, message::kInvalidUtf8);
        }
        p += length;
        continue;
      }
      ++p;
    }
    out.append(run, p);
    if (p == end_) {
      return fail(opening, message::kUnterminatedString);
    }
    if (*p == '"') {
      cur_ = p + 1;
      return true;
    }
    if (*p != '\\') {
      return fail(p, message::kControlCharacter);
    }
    if (!parseEscape(p, out)) {
      return false;
    }
  }
}

// parseEscape reads the escape whose backslash is at `p` and moves `p` past it.
bool Parser::parseEscape(const char*& p, std::string& out) {
  const char* const backslash = p;
  if (end_ - p < 2) {
    return fail(backslash, message::kBadEscape);
  }
  const char kind = p[1];
  p += 2;
  switch (kind) {
    case '"':
    case '\\':
    case '/':
      out.push_back(kind);
      return true;
    case 'b':
      out.push_back('\b');
      return true;
    case 'f':
      out.push_back('\f');
      return true;
    case 'n':
      out.push_back('\n');
      return true;
    case 'r':
      out.push_back('\r');
      return true;
    case 't':
      out.push_back('\t');
      return true;
    case 'u':
      break;
    default:
      return fail(backslash, message::kBadEscape);
  }
  std::uint32_t unit = 0;
  if (!parseHex4(p, unit)) {
    return false;
  }
  p += 4;
  if (IsLowSurrogate(unit)) {
    return fail(backslash, message::kLoneSurrogate);
  }
  if (IsHighSurrogate(unit)) {
    if (charactersBeforeStringEnd(p, 6) < 6) {
      return fail(p, message::kSurrogateTooShort);
    }
    if (p[0] != '\\' || p[1] != 'u') {
      return fail(p, message::kSurrogateNoEscape);
    }
    std::uint32_t low = 0;
    if (!parseHex4(p + 2, low)) {
      return false;
    }
    if (!IsLowSurrogate(low)) {
      return fail(p, message::kLoneSurrogate);
    }
    unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    p += 6;
  }
  AppendUtf8(out, unit);
  return true;
}

// charactersBeforeStringEnd counts the characters from `p` on, up to `wanted`, that still belong
// to the string: an escape cannot reach past the string's closing quote, whatever follows it in
// the document. An escaped character is passed over with its backslash.
std::size_t Parser::charactersBeforeStringEnd(const char* p, std::size_t wanted) const {
  const auto available = static_cast<std::size_t>(end_ - p);
  std::size_t count = 0;
  while (count < wanted && count < available && p[count] != '"') {
    count += p[count] == '\\' ? 2 : 1;
  }
  return std::min({count, wanted, available});
}

bool Parser::parseHex4(const char* p, std::uint32_t& value) {
  if (charactersBeforeStringEnd(p, 4) < 4) {
    return fail(p, message::kUnicodeFourDigits);
  }
  value = 0;
  for (int i = 0; i < 4; ++i) {
    const int digit = HexValue(p[i]);
    if (digit < 0) {
      return fail(p + i, message::kUnicodeHexDigit);
    }
    value = (value << 4) | static_cast<std::uint32_t>(digit);
  }
  return true;
}

bool Parser::parseNumber(Value& out) {
  const char* const first = cur_;
  const char* p = cur_;
  const bool negative = p < end_ && *p == '-';
  if (negative) {
    ++p;
  }
  if (p == end_ || !IsDigit(*p)) {
    return fail(first, message::kValueExpected);
  }
  // A leading zero stands alone; what follows it is the next token's problem.
  if (*p == '0') {
    ++p;
  } else {
    while (p < end_ && IsDigit(*p)) {
      ++p;
    }
  }
  bool integral = true;
  if (p < end_ && *p == '.') {
    ++p;
    if (p == end_ || !IsDigit(*p)) {
      return fail(p, message::kFractionDigit);
    }
    while (p < end_ && IsDigit(*p)) {
      ++p;
    }
    integral = false;
  }
  if (p < end_ && (*p == 'e' || *p == 'E')) {
    ++p;
    if (p < end_ && (*p == '+' || *p == '-')) {
      ++p;
    }
    if (p == end_ || !IsDigit(*p)) {
      return fail(p, message::kExponentDigit);
    }
    while (p < end_ && IsDigit(*p)) {
      ++p;
    }
    integral = false;
  }
  cur_ = p;
  if (integral) {
    // Integers are signed when they fit, unsigned when only that fits, and reals beyond.
    const char* digit = negative ? first + 1 : first;
    std::uint64_t magnitude = 0;
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    bool fits = true;
    // Nineteen decimal digits always fit in 64 bits: only the digits after them need the test.
    constexpr std::ptrdiff_t kDigitsThatAlwaysFit = 19;
    for (const char* unchecked = digit + std::min(p - digit, kDigitsThatAlwaysFit); digit < unchecked; ++digit) {
      magnitude = magnitude * 10 + static_cast<std::uint64_t>(*digit - '0');
    }
    for (; digit < p && fits; ++digit) {
      const auto value = static_cast<std::uint64_t>(*digit - '0');
      fits = magnitude <= (kMax - value) / 10;
      magnitude = magnitude * 10 + value;
    }
    constexpr auto kInt64Max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (fits && !negative) {
      if (magnitude <= kInt64Max) {
        ValueAccess::set<std::int64_t>(out, static_cast<std::int64_t>(magnitude));
      } else {
        ValueAccess::set<std::uint64_t>(out, magnitude);
      }
      return true;
    }
    // An integer has no negative zero; the real keeps the sign of "-0".
    if (fits && negative && magnitude == 0) {
      ValueAccess::set<double>(out, -0.0);
      return true;
    }
    if (fits && negative && magnitude <= kInt64Max + 1) {
      // Negation modulo 2^64 reaches INT64_MIN as well.
      const auto negated = static_cast<std::int64_t>(~magnitude + 1);
      ValueAccess::set<std::int64_t>(out, negated);
      return true;
    }
  }
  double real = 0;
  const std::from_chars_result result = std::from_chars(first, p, real, std::chars_format::general);
  if (result.ec == std::errc::result_out_of_range) {
    real = DecimalIsTooLarge(first, p) ? std::numeric_limits<double>::infinity() : 0.0;
    real = negative ? -real : real;
  } else if (result.ec != std::errc() || result.ptr != p) {
    return fail(first, message::kValueExpected);
  }
  ValueAccess::set<double>(out, real);
  return true;
}

}  // namespace zkJson
