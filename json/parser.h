#pragma once

// The recursive-descent parser behind zkJson::Reader. One Parser reads one document; it stops at
// the first fault and remembers where it was and why.

#include <qvcryptoservice/zkjson_reader.h>
#include <qvcryptoservice/zkjson_value.h>

#include "json/stable_stack.h"
#include "json/value_access.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zkJson {

// Error texts. The first eleven are fixed by the records' history and must not change.
namespace message {
inline constexpr const char* kRootNotContainer = "A valid ZKJSON document must be either an array or an object value.";
inline constexpr const char* kValueExpected = "Syntax error: value, object or array expected.";
inline constexpr const char* kMissingColon = "Missing ':' after object member name";
inline constexpr const char* kMissingCommaOrBrace = "Missing ',' or '}' in object declaration";
inline constexpr const char* kMissingBraceOrName = "Missing '}' or object member name";
inline constexpr const char* kMissingCommaOrBracket = "Missing ',' or ']' in array declaration";
inline constexpr const char* kBadEscape = "Bad escape sequence in string";
inline constexpr const char* kSurrogateTooShort = "additional six characters expected to parse unicode surrogate pair.";
inline constexpr const char* kSurrogateNoEscape =
    "expecting another \\u token to begin the second half of a unicode surrogate pair";
inline constexpr const char* kUnicodeFourDigits = "Bad unicode escape sequence in string: four digits expected.";
inline constexpr const char* kUnicodeHexDigit = "Bad unicode escape sequence in string: hexadecimal digit expected.";
inline constexpr const char* kLoneSurrogate = "Bad unicode escape sequence in string: lone surrogate.";
inline constexpr const char* kUnterminatedString = "Missing '\"' at end of string.";
inline constexpr const char* kControlCharacter = "Control character in string must be escaped.";
inline constexpr const char* kInvalidUtf8 = "Invalid UTF-8 sequence in string.";
inline constexpr const char* kFractionDigit = "Bad number: digit expected after '.'.";
inline constexpr const char* kExponentDigit = "Bad number: digit expected in exponent.";
inline constexpr const char* kTooDeep = "Nesting too deep: more than 1000 levels of arrays and objects.";
inline constexpr const char* kTrailingContent = "Extra non-whitespace after ZKJSON value.";
}  // namespace message

class Parser {
 public:
  Parser(const char* begin, const char* end, ReaderMode mode, bool collectComments)
      : begin_(begin), cur_(begin), end_(end), strict_(mode == ReaderMode::kStrict), collect_(collectComments) {}

  // parseDocument reads the whole input into `root`; false on the first fault.
  bool parseDocument(Value& root);

  std::size_t errorOffset() const { return static_cast<std::size_t>(errorAt_ - begin_); }
  const char* errorMessage() const { return errorMessage_; }
  // lineScanLength is the number of bytes examined so far to place comments on a value's line;
  // it grows with the input's length, whatever the comments are.
  std::size_t lineScanLength() const { return lineScanLength_; }

 private:
  bool parseValue(Value& out, std::size_t depth);
  bool parseArray(Value& out, std::size_t depth);
  bool parseObject(Value& out, std::size_t depth);
  bool parseLiteral(Value& out);
  // parseString reads the string whose opening quote is at cur_, appending its bytes to `out`.
  bool parseString(std::string& out);
  bool parseEscape(const char*& p, std::string& out);
  bool parseHex4(const char* p, std::uint32_t& value);
  std::size_t charactersBeforeStringEnd(const char* p, std::size_t wanted) const;
  bool parseNumber(Value& out);

  // skipSpace moves past white space and, in the default mode, comments. A '/' that does not
  // start a complete comment is left in place for the caller to report. Compact text has none:
  // that case is decided here, without a call.
  void skipSpace() {
    if (cur_<end_&& static_cast<unsigned char>(*cur_)> ' ' && *cur_ != '/') {
      return;
    }
    skipSpaceAndComments();
  }
  void skipSpaceAndComments();
  void noteComment(const char* start);
  void finishValue(Value& value);

  bool fail(const char* at, const char* message);

  const char* begin_;
  const char* cur_;
  const char* end_;
  bool strict_;
  bool collect_;
  // Comments read since the last value, for the next one (or the enclosing container).
  std::string pendingComments_;
  // The value that ended last, so that a comment on the same line goes to it, and how far its
  // line is known to be free of line feeds: its end, or the start of its last such comment.
  Value* lastValue_ = nullptr;
  const char* lastValueEnd_ = nullptr;
  std::size_t lineScanLength_ = 0;
  // The elements and members of the containers being read, the innermost container's on top.
  // Each container moves its own off into a storage of their exact size when it closes, so that
  // it is allocated once.
  StableStack<Value> elements_;
  StableStack<ValueAccess::Member> members_;
  const char* errorAt_ = nullptr;
  const char* errorMessage_ = nullptr;
};

}  // namespace zkJson
