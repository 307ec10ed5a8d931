#include "tests/support/json_lite.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace testsupport {
namespace {

class Parser {
 public:
  explicit Parser(const std::string& text) : text_(text) {}

  JsonNode Document() {
    JsonNode root = Value();
    Expect('\0');
    return root;
  }

 private:
  [[noreturn]] void Fail(const char* what) const {
    throw std::runtime_error(std::string("json_lite: ") + what + " at " + std::to_string(pos_));
  }

  // Take moves past white space, then past `c` if it comes next. '\0' stands for the end of the text.
  bool Take(char c) {
    pos_ = std::min(text_.find_first_not_of(" \t\r\n", pos_), text_.size());
    const bool found = pos_ < text_.size() ? text_[pos_] == c : c == '\0';
    pos_ += found && c != '\0' ? 1 : 0;
    return found;
  }

  void Expect(char c) {
    if (!Take(c)) {
      Fail("unexpected character or end");
    }
  }

  JsonNode Value() {
    JsonNode node;
    if (Take('[')) {
      node.kind = JsonNode::Kind::kArray;
      if (!Take(']')) {
        do {
          node.items.push_back(Value());
        } while (Take(','));
        Expect(']');
      }
    } else if (Take('{')) {
      node.kind = JsonNode::Kind::kObject;
      if (!Take('}')) {
        do {
          Expect('"');
          const std::string key = String();
          Expect(':');
          node.members[key] = Value();
        } while (Take(','));
        Expect('}');
      }
    } else if (Take('"')) {
      node.kind = JsonNode::Kind::kString;
      node.text = String();
    } else if (text_.compare(pos_, 4, "true") == 0 || text_.compare(pos_, 5, "false") == 0) {
      node.kind = JsonNode::Kind::kBool;
      node.boolean = text_[pos_] == 't';
      pos_ += node.boolean ? 4 : 5;
    } else if (text_.compare(pos_, 4, "null") == 0) {
      pos_ += 4;
    } else {
      const char* begin = text_.c_str() + pos_;
      char* end = nullptr;
      node.kind = JsonNode::Kind::kNumber;
      node.number = std::strtod(begin, &end);
      if (end == begin) {
        Fail("value expected");
      }
      pos_ += static_cast<std::size_t>(end - begin);
    }
    return node;
  }

  // String reads the rest of a string whose opening quote has been taken.
  std::string String() {
    std::string out;
    while (pos_ < text_.size() && text_[pos_] != '"') {
      char c = text_[pos_++];
      if (c == '\\' && pos_ < text_.size()) {
        c = text_[pos_++];
        if (c == 'u') {
          const unsigned long code = std::strtoul(text_.substr(pos_, 4).c_str(), nullptr, 16);
          pos_ += 4;
          if (code > 0x7F) {
            Fail("non-ASCII escape");
          }
          c = static_cast<char>(code);
        } else if (const std::size_t named = std::string_view("bfnrt").find(c); named != std::string_view::npos) {
          c = "\b\f\n\r\t"[named];
        }
      }
      out.push_back(c);
    }
    if (pos_++ >= text_.size()) {
      Fail("unterminated string");
    }
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

JsonNode ParseJsonLite(const std::string& text) { return Parser(text).Document(); }

}  // namespace testsupport
