#pragma once

// A small JSON reader for test data files only. It is deliberately independent of the
// library's own JSON code, so that a fault there cannot hide behind the vectors it reads.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// One value: a number, a string (`text`), an array (`items`) or an object (`members`); true,
// false and null read as nodes with none of these.
struct JsonNode {
  double number = 0;
  std::string text;
  std::vector<JsonNode> items;
  std::map<std::string, JsonNode> members;

  // A missing member throws std::runtime_error naming it.
  const JsonNode& operator[](const std::string& key) const;
  const JsonNode& operator[](std::size_t index) const { return items.at(index); }
  bool Has(const std::string& key) const { return members.count(key) != 0; }
  std::int64_t AsInt() const { return static_cast<std::int64_t>(number); }
};

// ParseJsonLite parses a whole document; throws std::runtime_error on malformed text. String
// escapes are limited to ASCII, which is all the test data needs.
JsonNode ParseJsonLite(const std::string& text);

}  // namespace testsupport
