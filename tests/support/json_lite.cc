#include "tests/support/json_lite.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace testsupport {
namespace {

[[noreturn]] void Fail(const char* what, std::string_view rest) {
  throw std::runtime_error(std::string("json_lite: ") + what + " before \"" + std::string(rest.substr(0, 20)) + "\"");
}

void SkipSpace(std::string_view& in) { in.remove_prefix(std::min(in.find_first_not_of(" \t\r\n"), in.size())); }

// Take moves past white space, then past `token` if it comes next.
bool Take(std::string_view& in, std::string_view token) {
  SkipSpace(in);
  const bool found = in.substr(0, token.size()) == token;
  in.remove_prefix(found ? token.size() : 0);
  return found;
}

void Expect(std::string_view& in, char c) {
  if (!Take(in, std::string_view(&c, 1))) {
    Fail("unexpected text", in);
  }
}

// ReadString reads the rest of a string whose opening quote has been taken.
std::string ReadString(std::string_view& in) {
  std::string out;
  std::size_t i = 0;
  for (; i < in.size() && in[i] != '"'; ++i) {
    char c = in[i];
    if (c == '\\' && ++i < in.size()) {
      c = in[i];
      if (const std::size_t named = std::string_view("bfnrt").find(c); named != std::string_view::npos) {
        c = "\b\f\n\r\t"[named];
      } else if (c == 'u') {
        const unsigned long code = std::strtoul(std::string(in.substr(i + 1, 4)).c_str(), nullptr, 16);
        if (code > 0x7F) {
          Fail("non-ASCII escape", in.substr(i));
        }
        c = static_cast<char>(code);
        i += 4;
      }
    }
    out.push_back(c);
  }
  in.remove_prefix(std::min(i, in.size()));
  Expect(in, '"');
  return out;
}

JsonNode ReadValue(std::string_view& in) {
  JsonNode node;
  if (Take(in, "[")) {
    if (!Take(in, "]")) {
      do {
        node.items.push_back(ReadValue(in));
      } while (Take(in, ","));
      Expect(in, ']');
    }
  } else if (Take(in, "{")) {
    if (!Take(in, "}")) {
      do {
        Expect(in, '"');
        const std::string key = ReadString(in);
        Expect(in, ':');
        node.members[key] = ReadValue(in);
      } while (Take(in, ","));
      Expect(in, '}');
    }
  } else if (Take(in, "\"")) {
    node.text = ReadString(in);
  } else if (Take(in, "true") || Take(in, "false") || Take(in, "null")) {
    // Literals carry nothing the test data is read for.
  } else if (const auto [end, error] = std::from_chars(in.data(), in.data() + in.size(), node.number);
             error == std::errc()) {
    in.remove_prefix(static_cast<std::size_t>(end - in.data()));
  } else {
    Fail("value expected", in);
  }
  return node;
}

}  // namespace

const JsonNode& JsonNode::operator[](const std::string& key) const {
  const auto it = members.find(key);
  if (it == members.end()) {
    throw std::runtime_error("json_lite: no member " + key);
  }
  return it->second;
}

JsonNode ParseJsonLite(const std::string& text) {
  std::string_view in = text;
  JsonNode root = ReadValue(in);
  SkipSpace(in);
  if (!in.empty()) {
    Fail("trailing text", in);
  }
  return root;
}

}  // namespace testsupport
