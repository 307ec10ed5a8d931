// JSONTestSuite (github.com/nst/JSONTestSuite, test_parsing/): y_ files must be accepted, n_
// files refused, i_ files may go either way but must be read without harm.

#include <qvcryptoservice/zkjson.h>

#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

// Valid JSON whose root is not an array or object: strict mode refuses these by design.
const std::set<std::string> kScalarRoots = {
    "y_string_space.json",          "y_structure_lonely_false.json",         "y_structure_lonely_int.json",
    "y_structure_lonely_null.json", "y_structure_lonely_negative_real.json", "y_structure_lonely_string.json",
    "y_structure_lonely_true.json", "y_structure_string_empty.json"};

// Invalid JSON that the default mode accepts because its only fault is a comment.
const std::set<std::string> kCommentOnly = {"n_object_trailing_comment.json",
                                            "n_object_trailing_comment_slash_open.json",
                                            "n_structure_object_with_comment.json"};

bool Parses(const std::string& text, zkJson::ReaderMode mode, zkJson::Value& root) {
  return zkJson::Reader(mode).parse(text, root);
}

// An implementation-defined file must get consistent verdicts: strict never accepts what the
// default mode refuses, and what was accepted writes a text that reads back and writes again as
// the very same text.
TEST(JsonTestSuite, VerdictsOfEveryFile) {
  std::set<char> classesSeen;
  for (const auto& entry : std::filesystem::directory_iterator("../shared/vectors/jsontestsuite/test_parsing")) {
    const std::string name = entry.path().filename().string();
    const std::string text = testsupport::ReadFile(entry.path().string());
    zkJson::Value root;
    zkJson::Value ignored;
    const bool lenient = Parses(text, zkJson::ReaderMode::kDefault, root);
    const bool strict = Parses(text, zkJson::ReaderMode::kStrict, ignored);
    classesSeen.insert(name[0]);
    if (name[0] == 'y') {
      EXPECT_TRUE(lenient) << name;
      EXPECT_EQ(strict, kScalarRoots.count(name) == 0) << name;
    } else if (name[0] == 'n') {
      EXPECT_FALSE(strict) << name;
      EXPECT_EQ(lenient, kCommentOnly.count(name) != 0) << name;
    } else if (lenient) {
      const std::string written = zkJson::FastWriter().write(root);
      zkJson::Value again;
      ASSERT_TRUE(Parses(written, zkJson::ReaderMode::kDefault, again)) << name << ": " << written;
      EXPECT_EQ(zkJson::FastWriter().write(again), written) << name;
    } else {
      EXPECT_FALSE(strict) << name;
    }
  }
  EXPECT_EQ(classesSeen, (std::set<char>{'i', 'n', 'y'}));
}

}  // namespace
