// zkJson::Reader: the documents it refuses and why, the values it reads and the text they write
// back as, comments, nesting and the cost of reading.

#include <qvcryptoservice/zkjson.h>

#include "json/parser.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

using testsupport::DataRow;
using zkJson::ReaderMode;
using zkJson::Value;

ReaderMode ModeOf(const DataRow& row) { return row["mode"] == "strict" ? ReaderMode::kStrict : ReaderMode::kDefault; }

std::string Compact(const Value& v) {
  zkJson::WriterOptions options;
  options.endingLineFeed = false;
  return zkJson::FastWriter(options).write(v);
}

TEST(Reader, RefusesWithExactMessageAndPosition) {
  for (const DataRow& row : testsupport::ReadDataTable("json_reader_errors.tsv")) {
    zkJson::Reader reader(ModeOf(row));
    Value root("untouched");
    ASSERT_FALSE(reader.parse(row["text"], root)) << row.where;
    EXPECT_EQ(root, Value("untouched")) << row.where;
    EXPECT_FALSE(reader.good());
    ASSERT_EQ(reader.getStructuredErrors().size(), 1u) << row.where;
    const zkJson::Reader::StructuredError& error = reader.getStructuredErrors()[0];
    EXPECT_EQ(error.message, row["message"]) << row.where;
    EXPECT_EQ(std::to_string(error.line) + ":" + std::to_string(error.column), row["line"] + ":" + row["column"])
        << row.where;
  }
}

TEST(Reader, ReadsTypeAndWritesCompactText) {
  const std::map<std::string, zkJson::ValueType> types = {
      {"null", zkJson::nullValue},    {"int", zkJson::intValue},       {"uint", zkJson::uintValue},
      {"real", zkJson::realValue},    {"string", zkJson::stringValue}, {"boolean", zkJson::booleanValue},
      {"array", zkJson::arrayValue},  {"object", zkJson::objectValue}, {"date", zkJson::dateValue},
      {"binary", zkJson::binaryValue}};
  for (const DataRow& row : testsupport::ReadDataTable("json_texts.tsv")) {
    zkJson::Reader reader(ModeOf(row));
    Value root;
    ASSERT_TRUE(reader.parse(row["text"], root)) << row.where << ": " << reader.getFormattedErrorMessages();
    EXPECT_EQ(root.type(), types.at(row["type"])) << row.where;
    EXPECT_EQ(Compact(root), row["written"]) << row.where;
  }
}

TEST(Reader, FormattedErrorMessagesAndOffset) {
  zkJson::Reader reader;
  Value root;
  ASSERT_FALSE(reader.parse("{\"a\":\n[1 2]}", root));
  EXPECT_EQ(reader.getFormattedErrorMessages(), "* Line 2, Column 4\n  Missing ',' or ']' in array declaration\n");
  EXPECT_EQ(reader.getStructuredErrors()[0].offset, 9u);
  ASSERT_TRUE(reader.parse("[]", root));
  EXPECT_EQ(reader.getFormattedErrorMessages(), "");
  EXPECT_TRUE(reader.good());
}

TEST(Reader, BytesEntryTakesAnyInput) {
  zkJson::Reader reader;
  Value root;
  EXPECT_FALSE(reader.parseBytes(nullptr, 0, root));
  EXPECT_EQ(reader.getStructuredErrors().at(0).message, "Syntax error: value, object or array expected.");
  const std::vector<std::uint8_t> bytes = {'[', '"', 0xFF, '"', ']'};
  ASSERT_TRUE(reader.parseBytes(bytes.data(), bytes.size(), root));
  EXPECT_EQ(root[0].asString(), "\xFF");
  EXPECT_FALSE(reader.parseBytes(bytes.data(), bytes.size() - 1, root));
}

TEST(Reader, CommentsAreCollectedOntoValues) {
  const std::string text = "// head\n[1, // one\n 2 /* two */,\n /* before three */ 3\r\n /* inside end */]\n// tail\n";
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse(text, root));
  EXPECT_EQ(root.getComment(zkJson::commentBefore), "// head");
  EXPECT_EQ(root[0].getComment(zkJson::commentAfterOnSameLine), "// one");
  EXPECT_EQ(root[1].getComment(zkJson::commentAfterOnSameLine), "/* two */");
  EXPECT_EQ(root[2].getComment(zkJson::commentBefore), "/* before three */");
  EXPECT_FALSE(root[2].hasComment(zkJson::commentAfterOnSameLine));
  EXPECT_EQ(root.getComment(zkJson::commentAfter), "/* inside end */\n// tail");

  // A line feed inside a block comment ends the value's line for the comments after it.
  Value run;
  ASSERT_TRUE(zkJson::Reader().parse("[1 /* a */ /* b\n */ /* c */ // d\n, {\"k\": /*e*/ 2}]", run));
  EXPECT_EQ(run[0].getComment(zkJson::commentAfterOnSameLine), "/* a */\n/* b\n */");
  EXPECT_EQ(run[1].getComment(zkJson::commentBefore), "/* c */\n// d");
  EXPECT_EQ(run[1]["k"].getComment(zkJson::commentBefore), "/*e*/");

  Value uncollected;
  ASSERT_TRUE(zkJson::Reader().parse(text, uncollected, false));
  EXPECT_EQ(uncollected, root);
  EXPECT_FALSE(uncollected.hasComment(zkJson::commentBefore));
  EXPECT_FALSE(uncollected[0].hasComment(zkJson::commentAfterOnSameLine));
}

// Placing a run of comments on one line takes work in proportion to its length. The measure is
// the parser's own count of the bytes it examined for that, so the comparison holds exactly on
// any machine: ten times the comments give about ten times the work, where a rescan from the
// value for each comment gave a hundred times.
TEST(Reader, SameLineCommentsTakeLinearWork) {
  const auto workFor = [](std::size_t comments) {
    std::string text = "[0";
    for (std::size_t i = 0; i < comments; ++i) {
      text += " /**/";
    }
    text += "]";
    Value root;
    zkJson::Parser parser(text.data(), text.data() + text.size(), ReaderMode::kDefault, true);
    EXPECT_TRUE(parser.parseDocument(root));
    EXPECT_EQ(root[0].getComment(zkJson::commentAfterOnSameLine).size(), comments * 5 - 1);
    return parser.lineScanLength();
  };
  const std::size_t shortRun = workFor(100000);
  EXPECT_GT(shortRun, 0U);
  EXPECT_LT(workFor(1000000), 20 * shortRun);
}

std::string Nested(const std::string& open, const std::string& close, std::size_t depth, const std::string& centre) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) {
    text += open;
  }
  text += centre;
  for (std::size_t i = 0; i < depth; ++i) {
    text += close;
  }
  return text;
}

TEST(Reader, NestingIsLimitedToAThousandLevels) {
  const std::string deepest = Nested("[{\"k\":", "}]", 500, "0");
  Value root;
  ASSERT_TRUE(zkJson::Reader(ReaderMode::kStrict).parse(deepest, root));
  EXPECT_EQ(Compact(root), deepest);
  for (const std::string& text :
       {Nested("[", "]", 1001, ""), std::string(100000, '['), Nested("{\"a\":", "}", 100000, "1")}) {
    zkJson::Reader reader;
    ASSERT_FALSE(reader.parse(text, root)) << text.size();
    EXPECT_EQ(reader.getStructuredErrors().at(0).message,
              "Nesting too deep: more than 1000 levels of arrays and objects.");
  }
}

}  // namespace
