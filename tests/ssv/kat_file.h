#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// KatCase is one case of a known-answer file: its fields by name, as bytes.
struct KatCase {
  std::string section;
  int line = 0;
  std::map<std::string, std::vector<std::uint8_t>> fields;

  // Field returns the named field; a missing field throws, naming the case's line.
  const std::vector<std::uint8_t>& Field(const std::string& name) const;
};

// ReadKatFile reads a file of "Name = hex" lines, cases separated by blank lines, grouped under
// "[section]" headers, with "#" comments. Throws std::runtime_error for a malformed line.
std::vector<KatCase> ReadKatFile(const std::string& path);

// KatCasesIn returns the cases of one section.
std::vector<KatCase> KatCasesIn(const std::vector<KatCase>& cases, const std::string& section);

}  // namespace testsupport
