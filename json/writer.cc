// FastWriter: the compact one-line form in which every record is stored.

#include <qvcryptoservice/zkjson_writer.h>

#include "json/number_text.h"
#include "json/string_bytes.h"
#include "json/value_access.h"
#include "primitives/base64_codec.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zkJson {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// FirstToEscape returns the position of the first byte from `from` on that needs an escape, or
// text.size().
std::size_t FirstToEscape(std::string_view text, std::size_t from) {
  std::size_t i = from;
  for (; i + 8 <= text.size(); i += 8) {
    if (QuoteBackslashOrControlAmong8(LoadWord(text.data() + i)) != 0) {
      break;
    }
  }
  for (; i < text.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if (byte < 0x20 || byte == '"' || byte == '\\') {
      return i;
    }
  }
  return i;
}

void AppendQuoted(std::string& out, std::string_view text) {
  out.push_back('"');
  std::size_t plainStart = 0;
  for (std::size_t i = FirstToEscape(text, 0); i < text.size(); i = FirstToEscape(text, i + 1)) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    out.append(text.substr(plainStart, i - plainStart));
    plainStart = i + 1;
    switch (byte) {
      case '"':
        out.append("\\\"");
        break;
      case '\\':
        out.append("\\\\");
        break;
      case '\b':
        out.append("\\b");
        break;
      case '\f':
        out.append("\\f");
        break;
      case '\n':
        out.append("\\n");
        break;
      case '\r':
        out.append("\\r");
        break;
      case '\t':
        out.append("\\t");
        break;
      default:
        out.append("\\u00");
        out.push_back(kHexDigits[byte >> 4]);
        out.push_back(kHexDigits[byte & 0x0F]);
    }
  }
  out.append(text.substr(plainStart));
  out.push_back('"');
}

class CompactWriter {
 public:
  CompactWriter(std::string& out, const WriterOptions& options) : out_(out), options_(options) {}

  void write(const Value& value) {
    switch (value.type()) {
      case nullValue:
        out_.append("null");
        break;
      case intValue:
        AppendInteger(out_, ValueAccess::get<std::int64_t>(value));
        break;
      case uintValue:
        AppendUnsigned(out_, ValueAccess::get<std::uint64_t>(value));
        break;
      case realValue:
        AppendReal(out_, ValueAccess::get<double>(value));
        break;
      case stringValue:
        AppendQuoted(out_, ValueAccess::get<std::string>(value));
        break;
      case booleanValue:
        out_.append(ValueAccess::get<bool>(value) ? "true" : "false");
        break;
      case arrayValue:
        writeArray(*ValueAccess::array(value));
        break;
      case objectValue:
        writeObject(*ValueAccess::object(value));
        break;
      case dateValue:
        out_.append("{\"$date\":");
        AppendInteger(out_, ValueAccess::get<Date>(value).milliseconds);
        out_.push_back('}');
        break;
      case binaryValue: {
        const std::vector<std::uint8_t>& bytes = ValueAccess::get<Binary>(value).bytes;
        out_.append("{\"$binary\":\"");
        QVCryptoService::AppendBase64(out_, bytes.data(), bytes.size());
        out_.append("\", \"$type\":\"00\"}");
        break;
      }
    }
  }

 private:
  void writeArray(const ValueAccess::ArrayStorage& elements) {
    out_.push_back('[');
    bool first = true;
    for (const Value& element : elements) {
      if (!first) {
        out_.push_back(',');
      }
      first = false;
      write(element);
    }
    out_.push_back(']');
  }

  void writeObject(const ValueAccess::ObjectStorage& members) {
    out_.push_back('{');
    bool first = true;
    for (const auto& [name, member] : members) {
      if (!first) {
        out_.push_back(',');
      }
      first = false;
      AppendQuoted(out_, name);
      out_.append(options_.spacedSeparator ? ": " : ":");
      write(member);
    }
    out_.push_back('}');
  }

  std::string& out_;
  const WriterOptions& options_;
};

}  // namespace

Writer::~Writer() = default;

FastWriter::FastWriter() = default;

FastWriter::FastWriter(const WriterOptions& options) : options_(options) {}

void FastWriter::enableYAMLCompatibility() { options_.spacedSeparator = true; }

void FastWriter::omitEndingLineFeed() { options_.endingLineFeed = false; }

std::string FastWriter::write(const Value& root) {
  std::string out;
  writeTo(root, out);
  return out;
}

void FastWriter::writeTo(const Value& root, std::string& out) const {
  CompactWriter(out, options_).write(root);
  if (options_.endingLineFeed) {
    out.push_back('\n');
  }
}

}  // namespace zkJson
