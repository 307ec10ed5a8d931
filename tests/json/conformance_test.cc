// JSONTestSuite (github.com/nst/JSONTestSuite, test_parsing/): y_ files must be accepted, n_
// files rejected, i_ files may go either way but must be read without harm.

#include <qvcryptoservice/zkjson.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <set>
#include <string>
#include <vector>

namespace {

const char* const kSuiteDirectory = "../shared/vectors/jsontestsuite/test_parsing";

// Valid JSON whose root is not an array or object: strict mode refuses these by design.
const std::set<std::string> kScalarRoots = {
    "y_string_space.json",                    // " "
    "y_structure_lonely_false.json",          // false
    "y_structure_lonely_int.json",            // 42
    "y_structure_lonely_negative_real.json",  // -0.1
    "y_structure_lonely_null.json",           // null
    "y_structure_lonely_string.json",         // "asd"
    "y_structure_lonely_true.json",           // true
    "y_structure_string_empty.json",          // ""
};

// Invalid JSON that the default mode accepts because its only fault is a comment.
const std::set<std::string> kAllowedByDefault = {
    "n_object_trailing_comment.json",             // {"a":"b"}/**/
    "n_object_trailing_comment_slash_open.json",  // {"a":"b"}// (a line comment ended by the end of input)
    "n_structure_object_with_comment.json",       // {"a":/*comment*/"b"}
};

struct SuiteFile {
  std::string name;
  std::string text;
};

std::vector<SuiteFile> LoadClass(const std::string& prefix) {
  std::vector<SuiteFile> files;
  for (const auto& entry : std::filesystem::directory_iterator(kSuiteDirectory)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(prefix, 0) == 0) {
      files.push_back({name, testsupport::ReadFile(entry.path().string())});
    }
  }
  std::sort(files.begin(), files.end(), [](const SuiteFile& a, const SuiteFile& b) { return a.name < b.name; });
  return files;
}

bool Parses(const std::string& text, zkJson::ReaderMode mode, zkJson::Value* root = nullptr) {
  zkJson::Value value;
  const bool ok = zkJson::Reader(mode).parse(text, value);
  if (root != nullptr) {
    *root = value;
  }
  return ok;
}

TEST(JsonTestSuite, AcceptedFilesParse) {
  const std::vector<SuiteFile> files = LoadClass("y_");
  ASSERT_FALSE(files.empty()) << "no y_ files below " << kSuiteDirectory;
  std::size_t strictRefused = 0;
  for (const SuiteFile& file : files) {
    EXPECT_TRUE(Parses(file.text, zkJson::ReaderMode::kDefault)) << file.name;
    const bool scalarRoot = kScalarRoots.count(file.name) != 0;
    EXPECT_EQ(Parses(file.text, zkJson::ReaderMode::kStrict), !scalarRoot) << file.name;
    strictRefused += scalarRoot ? 1 : 0;
  }
  std::cout << "y_: " << files.size() << " files, all accepted in default mode, " << files.size() - strictRefused
            << " in strict mode (" << strictRefused << " scalar roots refused)\n";
}

TEST(JsonTestSuite, RejectedFilesFail) {
  const std::vector<SuiteFile> files = LoadClass("n_");
  ASSERT_FALSE(files.empty());
  std::size_t defaultAccepted = 0;
  for (const SuiteFile& file : files) {
    EXPECT_FALSE(Parses(file.text, zkJson::ReaderMode::kStrict)) << file.name;
    const bool allowed = kAllowedByDefault.count(file.name) != 0;
    EXPECT_EQ(Parses(file.text, zkJson::ReaderMode::kDefault), allowed) << file.name;
    defaultAccepted += allowed ? 1 : 0;
  }
  std::cout << "n_: " << files.size() << " files, all rejected in strict mode, " << files.size() - defaultAccepted
            << " in default mode (" << defaultAccepted << " comment-only faults accepted)\n";
}

// Whatever the verdict on an implementation-defined file, it must be consistent: strict never
// accepts what the default mode refuses, and what was accepted is written as a text that reads
// back and writes again as the very same text. (Values may differ: a real such as 0.0 is written
// "0" and reads back as an integer, and "%.16g" keeps 16 digits only.)
TEST(JsonTestSuite, ImplementationDefinedFilesAreReadSafely) {
  const std::vector<SuiteFile> files = LoadClass("i_");
  ASSERT_FALSE(files.empty());
  std::size_t acceptedDefault = 0;
  std::size_t acceptedStrict = 0;
  for (const SuiteFile& file : files) {
    zkJson::Value root;
    const bool lenient = Parses(file.text, zkJson::ReaderMode::kDefault, &root);
    const bool strict = Parses(file.text, zkJson::ReaderMode::kStrict);
    EXPECT_TRUE(lenient || !strict) << file.name;
    if (lenient) {
      const std::string written = zkJson::FastWriter().write(root);
      zkJson::Value again;
      ASSERT_TRUE(Parses(written, zkJson::ReaderMode::kDefault, &again)) << file.name << ": " << written;
      EXPECT_EQ(zkJson::FastWriter().write(again), written) << file.name;
    }
    acceptedDefault += lenient ? 1 : 0;
    acceptedStrict += strict ? 1 : 0;
  }
  std::cout << "i_: " << files.size() << " files read, " << acceptedDefault << " accepted in default mode, "
            << acceptedStrict << " in strict mode\n";
}

}  // namespace
