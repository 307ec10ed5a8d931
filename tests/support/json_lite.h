#pragma once

// A small JSON reader for test data files only. It is deliberately independent of the
// library's own JSON code, so that a fault there cannot hide behind the vectors it reads.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// One value: a number, a string (`text`), an array (`items`) or an object (`members`).
struct JsonNode {
  double number = 0;
  std::string text;
  std::vector<JsonNode> items;
  std::map<std::string, JsonNode> members;

  // A missing member throws std::runtime_error naming it.
  const JsonNode& operator[](const std::string& key) const;
  std::int64_t AsInt() const { return static_cast<std::int64_t>(number); }
};

// ParseJsonLite parses a whole document; throws std::runtime_error on malformed text or on an
// escape of a character beyond ASCII, which no test data needs.
JsonNode ParseJsonLite(const std::string& text);

}  // namespace testsupport
