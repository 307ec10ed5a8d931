#include "tests/support/data_table.h"

#include "tests/support/vectors.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace testsupport {
namespace {

constexpr std::string_view kHexPrefix = "hex:";

std::vector<std::string> SplitTabs(const std::string& line) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
    fields.push_back(line.substr(start, tab - start));
    start = tab + 1;
  }
  fields.push_back(line.substr(start));
  return fields;
}

std::string Decode(const std::string& field, const std::string& where) {
  if (field.compare(0, kHexPrefix.size(), kHexPrefix) != 0) {
    return field;
  }
  const std::string hex = field.substr(kHexPrefix.size());
  if (hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw std::runtime_error(where + ": a hex: field holds something other than hexadecimal digits");
  }
  const std::vector<std::uint8_t> bytes = FromHex(hex);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

const std::string& DataRow::operator[](const std::string& column) const {
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] == column) {
      return fields[i];
    }
  }
  throw std::runtime_error(where + ": no column named " + column);
}

std::vector<DataRow> ReadDataTable(const std::string& file) {
  const std::string path = "tests/data/" + file;
  std::istringstream lines(ReadFile(path));
  std::vector<std::string> names;
  std::vector<DataRow> rows;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    if (line.empty() || line[0] == '#') {
      continue;
    }
    const std::string where = path + ":" + std::to_string(number);
    std::vector<std::string> fields = SplitTabs(line);
    if (names.empty()) {
      names = std::move(fields);
      continue;
    }
    if (fields.size() != names.size()) {
      throw std::runtime_error(where + ": " + std::to_string(fields.size()) + " fields where the header names " +
                               std::to_string(names.size()));
    }
    for (std::string& field : fields) {
      field = Decode(field, where);
    }
    rows.push_back(DataRow{where, names, std::move(fields)});
  }
  if (names.empty()) {
    throw std::runtime_error(path + ": no header line");
  }
  return rows;
}

}  // namespace testsupport
