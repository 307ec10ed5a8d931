#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace testsupport {

// A table of known answers kept as a file under tests/data/. The format, line by line:
//   - blank lines and lines starting with '#' are skipped;
//   - the first other line names the columns, separated by tab characters;
//   - every further line is one row with exactly as many tab-separated fields.
// Fields are taken literally (a JSON text or a message needs no escaping), except that a field
// starting with "hex:" stands for the bytes its hexadecimal digits spell, for bytes a line
// cannot hold (line feeds, tabs, NUL, invalid UTF-8).
struct DataRow {
  std::string where;  // "tests/data/<file>:<line>", for failure messages
  std::vector<std::string> names;
  std::vector<std::string> fields;

  // The field of the named column; an unknown name throws, so a typo fails the test.
  const std::string& operator[](const std::string& column) const;
};

// ReadDataTable reads tests/data/<file> (tests run from the project root). A missing file, a row
// with the wrong number of fields or a bad hex field throws std::runtime_error naming the line.
std::vector<DataRow> ReadDataTable(const std::string& file);

}  // namespace testsupport
