#include "tests/support/json_lite.h"

#include <cstdlib>
#include <stdexcept>

namespace testsupport {
namespace {

class Parser {
 public:
  explicit Parser(const std::string& text) : text_(text) {}

  JsonNode ParseDocument() {
    JsonNode root = ParseValue();
    SkipSpace();
    if (pos_ != text_.size()) {
      Fail("trailing text");
    }
    return root;
  }

 private:
  [[noreturn]] void Fail(const char* what) const {
    throw std::runtime_error(std::string("json_lite: ") + what + " at " + std::to_string(pos_));
  }
  void SkipSpace() {
    while (pos_ < text_.size() &&
           (text_[pos_] == ' ' || text_[pos_] == '\n' || text_[pos_] == '\r' || text_[pos_] == '\t')) {
      ++pos_;
    }
  }
  char Peek() {
    SkipSpace();
    if (pos_ >= text_.size()) {
      Fail("unexpected end");
    }
    return text_[pos_];
  }
  void Expect(char c) {
    if (Peek() != c) {
      Fail("unexpected character");
    }
    ++pos_;
  }
  bool ConsumeWord(const char* word) {
    const std::string w(word);
    if (text_.compare(pos_, w.size(), w) == 0) {
      pos_ += w.size();
      return true;
    }
    return false;
  }

  JsonNode ParseValue() {
    JsonNode node;
    const char c = Peek();
    if (c == '{') {
      node.kind = JsonNode::Kind::kObject;
      ++pos_;
      if (Peek() == '}') {
        ++pos_;
        return node;
      }
      for (;;) {
        std::string key = ParseString();
        Expect(':');
        node.members[key] = ParseValue();
        if (Peek() == ',') {
          ++pos_;
          continue;
        }
        Expect('}');
        return node;
      }
    }
    if (c == '[') {
      node.kind = JsonNode::Kind::kArray;
      ++pos_;
      if (Peek() == ']') {
        ++pos_;
        return node;
      }
      for (;;) {
        node.items.push_back(ParseValue());
        if (Peek() == ',') {
          ++pos_;
          continue;
        }
        Expect(']');
        return node;
      }
    }
    if (c == '"') {
      node.kind = JsonNode::Kind::kString;
      node.text = ParseString();
      return node;
    }
    if (ConsumeWord("true") || ConsumeWord("false")) {
      node.kind = JsonNode::Kind::kBool;
      node.boolean = text_[pos_ - 1] == 'e' && text_[pos_ - 2] == 'u';
      return node;
    }
    if (ConsumeWord("null")) {
      return node;
    }
    const char* begin = text_.c_str() + pos_;
    char* end = nullptr;
    node.number = std::strtod(begin, &end);
    if (end == begin) {
      Fail("value expected");
    }
    pos_ += static_cast<std::size_t>(end - begin);
    node.kind = JsonNode::Kind::kNumber;
    return node;
  }

  std::string ParseString() {
    Expect('"');
    std::string out;
    while (pos_ < text_.size() && text_[pos_] != '"') {
      char c = text_[pos_++];
      if (c == '\\') {
        if (pos_ >= text_.size()) {
          Fail("bad escape");
        }
        const char e = text_[pos_++];
        switch (e) {
          case 'n':
            c = '\n';
            break;
          case 't':
            c = '\t';
            break;
          case 'r':
            c = '\r';
            break;
          case 'b':
            c = '\b';
            break;
          case 'f':
            c = '\f';
            break;
          case 'u': {
            const unsigned long code = std::strtoul(text_.substr(pos_, 4).c_str(), nullptr, 16);
            pos_ += 4;
            if (code > 0x7F) {
              Fail("non-ASCII escape not needed by the test data");
            }
            c = static_cast<char>(code);
            break;
          }
          default:
            c = e;
            break;
        }
      }
      out.push_back(c);
    }
    Expect('"');
    return out;
  }

  const std::string& text_;
  std::size_t pos_ = 0;
};

}  // namespace

const JsonNode& JsonNode::operator[](const std::string& key) const {
  const auto it = members.find(key);
  if (it == members.end()) {
    throw std::runtime_error("json_lite: no member " + key);
  }
  return it->second;
}

JsonNode ParseJsonLite(const std::string& text) { return Parser(text).ParseDocument(); }

}  // namespace testsupport
