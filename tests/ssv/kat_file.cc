#include "tests/ssv/kat_file.h"

#include "tests/support/vectors.h"

#include <fstream>
#include <stdexcept>

namespace testsupport {

const std::vector<std::uint8_t>& KatCase::Field(const std::string& name) const {
  const auto found = fields.find(name);
  if (found == fields.end()) {
    throw std::runtime_error("case at line " + std::to_string(line) + " has no field " + name);
  }
  return found->second;
}

std::vector<KatCase> ReadKatFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    throw std::runtime_error("cannot open " + path);
  }
  std::vector<KatCase> cases;
  KatCase current;
  std::string section;
  std::string line;
  int number = 0;
  const auto finish = [&] {
    if (!current.fields.empty()) {
      cases.push_back(current);
    }
    current = KatCase{};
  };
  while (std::getline(in, line)) {
    ++number;
    if (line.empty()) {
      finish();
      continue;
    }
    if (line[0] == '#') {
      continue;
    }
    if (line.front() == '[' && line.back() == ']') {
      finish();
      section = line.substr(1, line.size() - 2);
      continue;
    }
    const std::size_t equals = line.find(" = ");
    if (equals == std::string::npos) {
      throw std::runtime_error(path + ":" + std::to_string(number) + ": not a field line");
    }
    if (current.fields.empty()) {
      current.section = section;
      current.line = number;
    }
    current.fields[line.substr(0, equals)] = FromHex(line.substr(equals + 3));
  }
  finish();
  return cases;
}

std::vector<KatCase> KatCasesIn(const std::vector<KatCase>& cases, const std::string& section) {
  std::vector<KatCase> selected;
  for (const KatCase& c : cases) {
    if (c.section == section) {
      selected.push_back(c);
    }
  }
  return selected;
}

}  // namespace testsupport
