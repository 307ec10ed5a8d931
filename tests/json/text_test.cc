// JSON text: what zkJson::Reader refuses and why, what it reads and how FastWriter writes it,
// comments, nesting, the cost of reading, the writer's options and JSONTestSuite's verdicts.

#include <qvcryptoservice/zkjson.h>

#include "json/parser.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <locale>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using testsupport::DataRow;
using zkJson::ReaderMode;
using zkJson::Value;

ReaderMode ModeOf(const DataRow& row) { return row["mode"] == "strict" ? ReaderMode::kStrict : ReaderMode::kDefault; }

std::string Compact(const Value& v) {
  return zkJson::FastWriter({.spacedSeparator = false, .endingLineFeed = false}).write(v);
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
    EXPECT_EQ(std::to_string(error.offset), row["offset"]) << row.where;
    EXPECT_EQ(reader.getFormattedErrorMessages(),
              "* Line " + row["line"] + ", Column " + row["column"] + "\n  " + row["message"] + "\n")
        << row.where;
  }
}

TEST(Reader, ReadsTypeAndWritesCompactText) {
  for (const DataRow& row : testsupport::ReadDataTable("json_texts.tsv")) {
    zkJson::Reader reader(ModeOf(row));
    Value root;
    ASSERT_TRUE(reader.parse(row["text"], root)) << row.where << ": " << reader.getFormattedErrorMessages();
    EXPECT_EQ(std::to_string(static_cast<int>(root.type())), row["type"]) << row.where;
    EXPECT_EQ(Compact(root), row["written"]) << row.where;
  }
}

TEST(Reader, BytesEntryTakesAnyInput) {
  zkJson::Reader reader;
  Value root;
  EXPECT_FALSE(reader.parseBytes(nullptr, 0, root));
  EXPECT_EQ(reader.getStructuredErrors().at(0).message, "Syntax error: value, object or array expected.");
  const std::vector<std::uint8_t> bytes = {'[', '"', 0xFF, '"', ']'};
  ASSERT_TRUE(reader.parseBytes(bytes.data(), bytes.size(), root));
  EXPECT_EQ(root[0].asString(), "\xFF");
  EXPECT_TRUE(reader.good() && reader.getFormattedErrorMessages().empty());
  EXPECT_FALSE(reader.parseBytes(bytes.data(), bytes.size() - 1, root));
}

TEST(Reader, CommentsAreCollectedOntoValues) {
  // A line feed, also one inside a block comment, ends the value's line for the comments after it.
  const std::string text =
      "// head\n[1, // one\n 2 /* a */ /* b\n */ /* c */ // d\n, {\"k\": /*e*/ 3}\n /* inside end */]\n// tail\n";
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse(text, root));
  EXPECT_EQ(root.getComment(zkJson::commentBefore), "// head");
  EXPECT_EQ(root[0].getComment(zkJson::commentAfterOnSameLine), "// one");
  EXPECT_EQ(root[1].getComment(zkJson::commentAfterOnSameLine), "/* a */\n/* b\n */");
  EXPECT_EQ(root[2].getComment(zkJson::commentBefore), "/* c */\n// d");
  EXPECT_EQ(root[2]["k"].getComment(zkJson::commentBefore), "/*e*/");
  EXPECT_EQ(root.getComment(zkJson::commentAfter), "/* inside end */\n// tail");

  Value uncollected;
  ASSERT_TRUE(zkJson::Reader().parse(text, uncollected, false));
  EXPECT_EQ(uncollected, root);
  EXPECT_FALSE(uncollected.hasComment(zkJson::commentBefore));
}

// Values are read in place while the containers around them fill up, far beyond the reader's
// first scratch room: a same-line comment still lands on its own value.
TEST(Reader, CommentsStayWithValuesOfLargeContainers) {
  std::string text = "{";
  for (int i = 99; i >= 0; --i) {
    text += "\"k" + std::to_string(i) + "\": [[" + std::to_string(i) + "], " + std::to_string(i) + " /*" +
            std::to_string(i) + "*/\n]" + (i > 0 ? ",\n" : "}");
  }
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse(text, root));
  ASSERT_EQ(root.size(), 100U);
  for (int i = 0; i < 100; ++i) {
    const Value& member = root["k" + std::to_string(i)];
    EXPECT_EQ(member[0][0], Value(i));
    EXPECT_EQ(member[1].getComment(zkJson::commentAfterOnSameLine), "/*" + std::to_string(i) + "*/");
  }
}

// Placing a run of comments on one line takes work in proportion to its length, counted by the
// parser itself: ten times the comments give ten times the work, where a rescan gave a hundred.
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
  const std::size_t shortRun = workFor(2000);
  EXPECT_GT(shortRun, 0U);
  EXPECT_LT(workFor(20000), 20 * shortRun);
}

TEST(Reader, NestingIsLimitedToAThousandLevels) {
  const std::string deepest = std::string(1000, '[') + std::string(1000, ']');
  Value root;
  ASSERT_TRUE(zkJson::Reader(ReaderMode::kStrict).parse(deepest, root));
  EXPECT_EQ(Compact(root), deepest);
  for (const std::string& tooDeep : {"[" + deepest + "]", "{\"a\":" + deepest + "}"}) {
    zkJson::Reader reader;
    ASSERT_FALSE(reader.parse(tooDeep, root));
    EXPECT_EQ(reader.getStructuredErrors().at(0).message,
              "Nesting too deep: more than 1000 levels of arrays and objects.");
  }
}

// y_ files must be accepted and n_ files refused in both modes, but for the exceptions listed in
// tests/data/json_suite_exceptions.tsv. i_ files may go either way, but strict mode never accepts
// what the default mode refuses, and what was accepted writes a text that reads back and writes
// again as the very same text.
TEST(JsonTestSuite, VerdictsOfEveryFile) {
  std::map<std::string, std::string> expected;  // "<default mode> <strict mode>" verdicts by file
  for (const DataRow& row : testsupport::ReadDataTable("json_suite_exceptions.tsv")) {
    expected[row["file"]] = row["default"] + " " + row["strict"];
  }
  std::set<char> classesSeen;
  for (const auto& entry : std::filesystem::directory_iterator("../shared/vectors/jsontestsuite/test_parsing")) {
    const std::string name = entry.path().filename().string();
    const std::string text = testsupport::ReadFile(entry.path().string());
    Value root;
    Value other;
    const bool lenient = zkJson::Reader().parse(text, root);
    const bool strict = zkJson::Reader(ReaderMode::kStrict).parse(text, other);
    const std::string verdicts = std::string(lenient ? "accept" : "refuse") + (strict ? " accept" : " refuse");
    classesSeen.insert(name[0]);
    if (name[0] != 'i') {
      expected.emplace(name, name[0] == 'y' ? "accept accept" : "refuse refuse");  // unless listed
      EXPECT_EQ(verdicts, expected.at(name)) << name;
      continue;
    }
    EXPECT_NE(verdicts, "refuse accept") << name;
    if (lenient) {
      ASSERT_TRUE(zkJson::Reader().parse(Compact(root), other)) << name << ": " << Compact(root);
      EXPECT_EQ(Compact(other), Compact(root)) << name;
    }
  }
  EXPECT_EQ(classesSeen, (std::set<char>{'i', 'n', 'y'}));
}

TEST(FastWriter, Options) {
  Value v;
  v["a"] = 1;
  v["d"] = zkJson::Date{1};
  const std::unique_ptr<zkJson::Writer> plain = std::make_unique<zkJson::FastWriter>();
  EXPECT_EQ(plain->write(v), "{\"a\":1,\"d\":{\"$date\":1}}\n");
  zkJson::FastWriter spaced;
  spaced.enableYAMLCompatibility();
  EXPECT_EQ(spaced.write(v), "{\"a\": 1,\"d\": {\"$date\":1}}\n") << "only member separators get the blank";
  spaced.omitEndingLineFeed();
  EXPECT_EQ(spaced.write(Value(2)), "2");
  std::string buffer = "prefix:";
  zkJson::FastWriter().writeTo(Value(zkJson::arrayValue), buffer);
  EXPECT_EQ(buffer, "prefix:[]\n");
}

// A decimal comma in the global C++ locale (which stream-based formatting would pick up) and,
// where such a locale is installed, in the C locale (which printf-style formatting would).
TEST(Locale, DecimalCommaChangesNothing) {
  struct CommaPunctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  // std::locale takes ownership of the facet.
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), std::make_unique<CommaPunctuation>().release()));
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) {
    std::setlocale(LC_NUMERIC, "German_Germany.1252");
  }
  Value v;
  EXPECT_TRUE(zkJson::Reader().parse("[1.5,-2.25e-07,1000000]", v));
  EXPECT_EQ(v[1].asDouble(), -2.25e-7);
  EXPECT_EQ(Compact(v), "[1.5,-2.25e-07,1000000]");
  std::setlocale(LC_NUMERIC, saved.c_str());
  std::locale::global(previous);
}

}  // namespace
