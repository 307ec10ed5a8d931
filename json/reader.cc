// zkJson::Reader: runs a Parser over one document and keeps what went wrong.

#include <qvcryptoservice/zkjson_reader.h>

#include "json/number_text.h"
#include "json/parser.h"

#include <algorithm>

namespace zkJson {

Reader::Reader() : Reader(ReaderMode::kDefault) {}

Reader::Reader(ReaderMode mode) : mode_(mode) {}

bool Reader::parse(std::string_view document, Value& root, bool collectComments) {
  return parse(document.data(), document.data() + document.size(), root, collectComments);
}

bool Reader::parseBytes(const std::uint8_t* data, std::size_t size, Value& root) {
  static constexpr char kEmpty[] = "";
  const char* begin = data == nullptr ? kEmpty : reinterpret_cast<const char*>(data);
  return parse(begin, begin + (data == nullptr ? 0 : size), root, true);
}

bool Reader::parse(const char* begin, const char* end, Value& root, bool collectComments) {
  errors_.clear();
  if (begin == nullptr || end < begin) {
    begin = end = "";
  }
  Parser parser(begin, end, mode_, collectComments);
  Value parsed;
  if (parser.parseDocument(parsed)) {
    root.swap(parsed);
    return true;
  }
  StructuredError error;
  error.offset = std::min(parser.errorOffset(), static_cast<std::size_t>(end - begin));
  const char* at = begin + error.offset;
  error.line = 1 + static_cast<std::size_t>(std::count(begin, at, '\n'));
  const char* lineStart = std::find(std::make_reverse_iterator(at), std::make_reverse_iterator(begin), '\n').base();
  error.column = 1 + static_cast<std::size_t>(at - lineStart);
  error.message = parser.errorMessage();
  errors_.push_back(std::move(error));
  return false;
}

std::string Reader::getFormattedErrorMessages() const {
  std::string text;
  for (const StructuredError& error : errors_) {
    text.append("* Line ");
    AppendUnsigned(text, error.line);
    text.append(", Column ");
    AppendUnsigned(text, error.column);
    text.append("\n  ").append(error.message).append("\n");
  }
  return text;
}

const std::vector<Reader::StructuredError>& Reader::getStructuredErrors() const { return errors_; }

bool Reader::good() const { return errors_.empty(); }

}  // namespace zkJson
