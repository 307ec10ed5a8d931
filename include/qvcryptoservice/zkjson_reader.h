#pragma once

// zkJson::Reader: parses JSON text into a zkJson::Value.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/zkjson_value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zkJson {

// ReaderMode chooses the grammar.
//  kDefault: JSON with /* */ and // comments (collected onto the values), any value as the root,
//   and a leading UTF-8 byte order mark skipped. Bytes of 0x80 and above inside strings are
//   taken as they are, so every string the writers produce reads back unchanged.
//  kStrict: RFC 8259 only. No comments, no byte order mark, strings must be valid UTF-8, and the
//   root must be an array or an object.
// In both modes nesting is limited to Reader::kMaxDepth arrays and objects, a number too large
// for 64 bits is read as a real, a real too large for a double as +/-infinity and one too small
// as +/-0, and "-0" as the real -0.0. A lone UTF-16 surrogate in a \u escape is an error.
enum class ReaderMode : std::uint8_t { kDefault, kStrict };

// Reader parses one document per call. After a parse, an object of exactly one integer "$date"
// member is a date value, one of exactly one "$date" string in the form
// 2023-11-14T22:13:20.000Z (milliseconds optional) is the date it names, and one of a "$binary"
// string of canonical base64, alone or beside "$type":"00", is a binary value. Other objects
// with such members stay ordinary objects.
class QVCS_EXPORT Reader {
 public:
  // Deeper documents are refused rather than risking the stack.
  static constexpr std::size_t kMaxDepth = 1000;

  // StructuredError describes one fault: where (byte offset, 1-based line and column) and why.
  struct StructuredError {
    std::size_t offset = 0;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string message;
  };

  Reader();
  explicit Reader(ReaderMode mode);

  // parse reads a whole document into `root` and returns true. On failure it returns false,
  // leaves `root` untouched and keeps the error for getFormattedErrorMessages. Text after the
  // root value other than white space (and comments, in the default mode) is an error. With
  // `collectComments` false, comments are still allowed in the default mode but dropped.
  bool parse(std::string_view document, Value& root, bool collectComments = true);
  bool parse(const char* begin, const char* end, Value& root, bool collectComments = true);
  // parseBytes parses `size` raw bytes like parse does; any input at all is accepted as
  // argument (null data reads as empty), which is what fuzz targets need.
  bool parseBytes(const std::uint8_t* data, std::size_t size, Value& root);

  // getFormattedErrorMessages returns "* Line L, Column C\n  <message>\n" for each error of the
  // last parse, or "" when it succeeded.
  std::string getFormattedErrorMessages() const;
  const std::vector<StructuredError>& getStructuredErrors() const;
  // good is true when the last parse succeeded (or none was made).
  bool good() const;

 private:
  ReaderMode mode_;
  std::vector<StructuredError> errors_;
};

}  // namespace zkJson
