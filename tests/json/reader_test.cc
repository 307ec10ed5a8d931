#include <qvcryptoservice/zkjson.h>

#include "json/parser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace {

using zkJson::ReaderMode;
using zkJson::Value;

constexpr ReaderMode kDefault = ReaderMode::kDefault;
constexpr ReaderMode kStrict = ReaderMode::kStrict;

struct CaseName {
  template <typename Case>
  std::string operator()(const testing::TestParamInfo<Case>& param) const {
    return param.param.name;
  }
};

std::string Compact(const Value& v) {
  zkJson::WriterOptions options;
  options.endingLineFeed = false;
  return zkJson::FastWriter(options).write(v);
}

struct ErrorCase {
  const char* name;
  ReaderMode mode;
  std::string text;
  const char* message;
  std::size_t line;
  std::size_t column;
};

void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

class ReaderErrors : public testing::TestWithParam<ErrorCase> {};

TEST_P(ReaderErrors, ReportMessageAndPosition) {
  const ErrorCase& c = GetParam();
  zkJson::Reader reader(c.mode);
  Value root("untouched");
  ASSERT_FALSE(reader.parse(c.text, root));
  EXPECT_EQ(root, Value("untouched"));
  ASSERT_EQ(reader.getStructuredErrors().size(), 1u);
  const auto& error = reader.getStructuredErrors()[0];
  EXPECT_EQ(error.message, c.message);
  EXPECT_EQ(error.line, c.line);
  EXPECT_EQ(error.column, c.column);
  EXPECT_FALSE(reader.good());
}

const char* const kValueExpected = "Syntax error: value, object or array expected.";
const char* const kArrayComma = "Missing ',' or ']' in array declaration";
const char* const kObjectComma = "Missing ',' or '}' in object declaration";
const char* const kMemberName = "Missing '}' or object member name";
const char* const kLoneSurrogate = "Bad unicode escape sequence in string: lone surrogate.";
const char* const kInvalidUtf8 = "Invalid UTF-8 sequence in string.";
const char* const kTrailing = "Extra non-whitespace after ZKJSON value.";

INSTANTIATE_TEST_SUITE_P(
    Table, ReaderErrors,
    testing::ValuesIn(std::vector<ErrorCase>{
        {"Empty", kDefault, "", kValueExpected, 1, 1},
        {"WhiteSpaceOnly", kDefault, "  \n ", kValueExpected, 2, 2},
        {"ArrayWithoutComma", kDefault, "[1 2]", kArrayComma, 1, 4},
        {"UnclosedArray", kDefault, "[1", kArrayComma, 1, 3},
        {"ArrayTrailingComma", kDefault, "[1,]", kValueExpected, 1, 4},
        {"MissingColon", kDefault, "{\"a\" 1}", "Missing ':' after object member name", 1, 6},
        {"ObjectWithoutComma", kDefault, "{\"a\":1 \"b\":2}", kObjectComma, 1, 8},
        {"UnclosedObject", kDefault, "{\"a\":1", kObjectComma, 1, 7},
        {"NameNotString", kDefault, "{1:2}", kMemberName, 1, 2},
        {"ObjectTrailingComma", kDefault, "{\"a\":1,}", kMemberName, 1, 8},
        {"BadEscape", kDefault, "[\"\\x\"]", "Bad escape sequence in string", 1, 3},
        {"BackslashAtEnd", kDefault, "[\"\\", "Bad escape sequence in string", 1, 3},
        {"SurrogateCutShort", kDefault, "[\"\\uD800\"]",
         "additional six characters expected to parse unicode surrogate pair.", 1, 9},
        {"SurrogateWithoutSecondEscape", kDefault, "[\"\\uD800abcdef\"]",
         "expecting another \\u token to begin the second half of a unicode surrogate pair", 1, 9},
        {"UnicodeCutShort", kDefault, "[\"\\u12", "Bad unicode escape sequence in string: four digits expected.", 1, 5},
        // The escape ends with the string, however much of the document follows.
        {"UnicodeCutShortByTheQuote", kDefault, "[\"\\u12\"]",
         "Bad unicode escape sequence in string: four digits expected.", 1, 5},
        {"SurrogateCutShortByTheQuote", kDefault, "[\"\\uD800\", \"abcdef\"]",
         "additional six characters expected to parse unicode surrogate pair.", 1, 9},
        {"UnicodeNotHex", kDefault, "[\"\\u12G4\"]",
         "Bad unicode escape sequence in string: hexadecimal digit expected.", 1, 7},
        {"SecondHalfNotHex", kDefault, "[\"\\uD800\\u12G4\"]",
         "Bad unicode escape sequence in string: hexadecimal digit expected.", 1, 13},
        {"LoneLowSurrogate", kDefault, "[\"\\uDC00\"]", kLoneSurrogate, 1, 3},
        {"HighSurrogateThenLetter", kDefault, "[\"\\uD800\\u0041\"]", kLoneSurrogate, 1, 9},
        {"StrictScalarRoot", kStrict, "1", "A valid ZKJSON document must be either an array or an object value.", 1, 1},
        {"StrictStringRoot", kStrict, " \"s\"", "A valid ZKJSON document must be either an array or an object value.",
         1, 2},
        {"StrictTrailingComment", kStrict, "[1]//c", kTrailing, 1, 4},
        {"StrictInnerComment", kStrict, "[/*c*/1]", kValueExpected, 1, 2},
        {"StrictByteOrderMark", kStrict, "\xEF\xBB\xBF[]", kValueExpected, 1, 1},
        {"StrictInvalidByte", kStrict, "[\"a\xFF\"]", kInvalidUtf8, 1, 4},
        {"StrictOverlongSlash", kStrict, "[\"\xC0\xAF\"]", kInvalidUtf8, 1, 3},
        {"StrictEncodedSurrogate", kStrict, "[\"\xED\xA0\x80\"]", kInvalidUtf8, 1, 3},
        {"StrictAboveUnicode", kStrict, "[\"\xF4\x90\x80\x80\"]", kInvalidUtf8, 1, 3},
        {"StrictTruncatedSequence", kStrict, "[\"\xE2\x82\"]", kInvalidUtf8, 1, 3},
        {"TrailingContent", kDefault, "[1] x", kTrailing, 1, 5},
        {"TwoRoots", kDefault, "{} {}", kTrailing, 1, 4},
        {"LeadingZero", kDefault, "[01]", kArrayComma, 1, 3},
        {"HexNumber", kDefault, "[0x1]", kArrayComma, 1, 3},
        {"FractionWithoutDigit", kDefault, "[1.]", "Bad number: digit expected after '.'.", 1, 4},
        {"ExponentWithoutDigit", kDefault, "[1e+]", "Bad number: digit expected in exponent.", 1, 5},
        {"MinusAlone", kDefault, "[-]", kValueExpected, 1, 2},
        {"LeadingDot", kDefault, "[.5]", kValueExpected, 1, 2},
        {"PlusSign", kDefault, "[+1]", kValueExpected, 1, 2},
        {"NaN", kDefault, "[NaN]", kValueExpected, 1, 2},
        {"Infinity", kDefault, "[-Infinity]", kValueExpected, 1, 2},
        {"RawNewlineInString", kDefault, "[\"a\nb\"]", "Control character in string must be escaped.", 1, 4},
        {"RawNulInString", kDefault, std::string("[\"a\0\"]", 6), "Control character in string must be escaped.", 1, 4},
        {"UnterminatedString", kDefault, "[\"abc", "Missing '\"' at end of string.", 1, 2},
        {"BadLiteral", kDefault, "[tru]", kValueExpected, 1, 2},
        {"NulBetweenValues", kDefault, std::string("[1,\0]", 5), kValueExpected, 1, 4},
        {"LineAndColumn", kDefault, "[\n1,\n  x]", kValueExpected, 3, 3},
        {"UnterminatedComment", kDefault, "/* open", kValueExpected, 1, 1},
        {"UnterminatedCommentAfterRoot", kDefault, "[1] /* x", kTrailing, 1, 5},
        {"LoneSlash", kDefault, "[1,/2]", kValueExpected, 1, 4},
    }),
    CaseName());

TEST(Reader, FormattedErrorMessages) {
  zkJson::Reader reader;
  Value root;
  ASSERT_FALSE(reader.parse("{\"a\":\n[1 2]}", root));
  EXPECT_EQ(reader.getFormattedErrorMessages(), "* Line 2, Column 4\n  Missing ',' or ']' in array declaration\n");
  EXPECT_EQ(reader.getStructuredErrors()[0].offset, 9u);
  ASSERT_TRUE(reader.parse("[]", root));
  EXPECT_EQ(reader.getFormattedErrorMessages(), "");
  EXPECT_TRUE(reader.good());
}

struct NumberCase {
  const char* name;
  std::string text;
  zkJson::ValueType type;
  std::string written;
};

void PrintTo(const NumberCase& c, std::ostream* os) { *os << c.name; }

class ReaderNumbers : public testing::TestWithParam<NumberCase> {};

TEST_P(ReaderNumbers, TypeAndValue) {
  const NumberCase& c = GetParam();
  for (const ReaderMode mode : {kDefault, kStrict}) {
    Value root;
    ASSERT_TRUE(zkJson::Reader(mode).parse("[" + c.text + "]", root));
    EXPECT_EQ(root[0].type(), c.type);
    EXPECT_EQ(Compact(root[0]), c.written);
  }
}

const std::string kFourHundredZeros(400, '0');

INSTANTIATE_TEST_SUITE_P(Table, ReaderNumbers,
                         testing::ValuesIn(std::vector<NumberCase>{
                             {"Zero", "0", zkJson::intValue, "0"},
                             {"NegativeZeroIsReal", "-0", zkJson::realValue, "-0"},
                             {"NegativeRealZero", "-0.0", zkJson::realValue, "-0"},
                             {"Int64Max", "9223372036854775807", zkJson::intValue, "9223372036854775807"},
                             {"AboveInt64IsUnsigned", "9223372036854775808", zkJson::uintValue, "9223372036854775808"},
                             {"UInt64Max", "18446744073709551615", zkJson::uintValue, "18446744073709551615"},
                             {"AboveUInt64IsReal", "18446744073709551616", zkJson::realValue, "1.844674407370955e+19"},
                             {"Int64Min", "-9223372036854775808", zkJson::intValue, "-9223372036854775808"},
                             {"BelowInt64IsReal", "-9223372036854775809", zkJson::realValue, "-9.223372036854776e+18"},
                             {"ExponentMakesReal", "1E2", zkJson::realValue, "100"},
                             {"SignedExponent", "1e+2", zkJson::realValue, "100"},
                             {"Fraction", "1.5e-3", zkJson::realValue, "0.0015"},
                             {"Denormal", "4.9e-324", zkJson::realValue, "4.940656458412465e-324"},
                             {"UnderflowToZero", "2e-324", zkJson::realValue, "0"},
                             {"TinyIsZero", "1e-400", zkJson::realValue, "0"},
                             {"TinyNegativeIsMinusZero", "-1e-400", zkJson::realValue, "-0"},
                             {"HugeExponentNegative", "123e-10000000", zkJson::realValue, "0"},
                             {"HugeIsInfinity", "1e400", zkJson::realValue, "1e+9999"},
                             {"HugeNegativeIsMinusInfinity", "-1e400", zkJson::realValue, "-1e+9999"},
                             {"ExponentBeyond64Bits", "1e99999999999999999999", zkJson::realValue, "1e+9999"},
                             {"SmallMantissaLargeExponent", "0.00000000000000000000000000000000000000000000000001e400",
                              zkJson::realValue, "1e+9999"},
                             {"LongMantissaSmallExponent", "1" + kFourHundredZeros + "e-300", zkJson::realValue,
                              "1e+100"},
                             {"LongInteger", "1" + kFourHundredZeros, zkJson::realValue, "1e+9999"},
                         }),
                         CaseName());

TEST(Reader, RealsAreReadToTheNearestDouble) {
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse("[0.30000000000000004,1.7976931348623157e308,2.2250738585072014e-308]", root));
  EXPECT_EQ(root[0].asDouble(), 0.1 + 0.2);
  EXPECT_EQ(root[1].asDouble(), 1.7976931348623157e308);
  EXPECT_EQ(root[2].asDouble(), 2.2250738585072014e-308);
}

struct StringCase {
  const char* name;
  std::string text;
  std::string bytes;
};

void PrintTo(const StringCase& c, std::ostream* os) { *os << c.name; }

class ReaderStrings : public testing::TestWithParam<StringCase> {};

TEST_P(ReaderStrings, DecodeToBytes) {
  Value root;
  zkJson::Reader reader;
  ASSERT_TRUE(reader.parse(GetParam().text, root)) << reader.getFormattedErrorMessages();
  EXPECT_EQ(root.asString(), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Table, ReaderStrings,
                         testing::ValuesIn(std::vector<StringCase>{
                             {"ShortEscapes", "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"", "\"\\/\b\f\n\r\t"},
                             {"EscapedNul", "\"a\\u0000b\"", std::string("a\0b", 3)},
                             {"TwoByteEscape", "\"\\u00e9\"", "\xC3\xA9"},
                             {"ThreeByteEscape", "\"\\u20AC\"", "\xE2\x82\xAC"},
                             {"LastBmpEscape", "\"\\uFFFF\"", "\xEF\xBF\xBF"},
                             {"SurrogatePair", "\"\\uD834\\uDD1E\"", "\xF0\x9D\x84\x9E"},
                             {"HighestPair", "\"\\uDBFF\\uDFFF\"", "\xF4\x8F\xBF\xBF"},
                             {"RawUtf8", "\"\xF0\x9D\x84\x9E\"", "\xF0\x9D\x84\x9E"},
                             {"InvalidUtf8KeptInDefaultMode", "\"\xFF\xC3(\"", "\xFF\xC3("},
                             {"ByteOrderMarkSkipped", "\xEF\xBB\xBF\"x\"", "x"},
                         }),
                         CaseName());

TEST(Reader, RepeatedNameKeepsTheLastValue) {
  Value root;
  ASSERT_TRUE(zkJson::Reader(kStrict).parse("{\"a\":1,\"b\":2,\"a\":[3]}", root));
  EXPECT_EQ(Compact(root), "{\"a\":[3],\"b\":2}");
}

TEST(Reader, CommentsAreCollectedOntoValues) {
  const std::string text =
      "// head\n"
      "[1, // one\n"
      " 2 /* two */,\n"
      " /* before three */ 3\r\n"
      " /* inside end */]\n"
      "// tail\n";
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse(text, root));
  EXPECT_EQ(Compact(root), "[1,2,3]");
  EXPECT_EQ(root.getComment(zkJson::commentBefore), "// head");
  EXPECT_EQ(root[0].getComment(zkJson::commentAfterOnSameLine), "// one");
  EXPECT_EQ(root[1].getComment(zkJson::commentAfterOnSameLine), "/* two */");
  EXPECT_EQ(root[2].getComment(zkJson::commentBefore), "/* before three */");
  EXPECT_FALSE(root[2].hasComment(zkJson::commentAfterOnSameLine));
  EXPECT_EQ(root.getComment(zkJson::commentAfter), "/* inside end */\n// tail");

  Value member;
  ASSERT_TRUE(zkJson::Reader().parse("{\"a\": /* c */ true}", member));
  EXPECT_EQ(member["a"].getComment(zkJson::commentBefore), "/* c */");
  EXPECT_TRUE(member["a"].asBool());

  // A line feed inside a block comment ends the value's line for the comments after it.
  Value run;
  ASSERT_TRUE(zkJson::Reader().parse("[1 /* a */ /* b\n */ /* c */ // d\n, 2 /*e*/]", run));
  EXPECT_EQ(run[0].getComment(zkJson::commentAfterOnSameLine), "/* a */\n/* b\n */");
  EXPECT_EQ(run[1].getComment(zkJson::commentBefore), "/* c */\n// d");
  EXPECT_EQ(run[1].getComment(zkJson::commentAfterOnSameLine), "/*e*/");

  Value uncollected;
  ASSERT_TRUE(zkJson::Reader().parse(text, uncollected, false));
  EXPECT_EQ(uncollected, root);
  for (const auto placement : {zkJson::commentBefore, zkJson::commentAfterOnSameLine, zkJson::commentAfter}) {
    EXPECT_FALSE(uncollected.hasComment(placement));
    EXPECT_FALSE(uncollected[0].hasComment(placement));
  }
}

// Placing a run of comments on one line takes work in proportion to its length. The measure is
// the parser's own count of the bytes it examined for that, so the comparison holds exactly on
// any machine, loaded or instrumented: ten times the comments give about ten times the work,
// where a rescan from the value for each comment gave a hundred times.
TEST(Reader, SameLineCommentsTakeLinearWork) {
  const auto workFor = [](std::size_t comments) {
    std::string text = "[0";
    for (std::size_t i = 0; i < comments; ++i) {
      text += " /**/";
    }
    text += "]";
    Value root;
    zkJson::Parser parser(text.data(), text.data() + text.size(), kDefault, true);
    EXPECT_TRUE(parser.parseDocument(root));
    EXPECT_EQ(root[0].getComment(zkJson::commentAfterOnSameLine).size(), comments * 5 - 1);
    return parser.lineScanLength();
  };
  const std::size_t shortRun = workFor(100000);
  const std::size_t longRun = workFor(1000000);
  EXPECT_GT(shortRun, 0U);
  EXPECT_LT(longRun, 20 * shortRun);
}

TEST(Reader, BytesEntryTakesAnyInput) {
  zkJson::Reader reader;
  Value root;
  EXPECT_FALSE(reader.parseBytes(nullptr, 0, root));
  EXPECT_EQ(reader.getStructuredErrors().at(0).message, kValueExpected);
  const std::vector<std::uint8_t> bytes = {'[', '"', 0xFF, '"', ']'};
  ASSERT_TRUE(reader.parseBytes(bytes.data(), bytes.size(), root));
  EXPECT_EQ(root[0].asString(), "\xFF");
  EXPECT_FALSE(reader.parseBytes(bytes.data(), bytes.size() - 1, root));
}

std::string Nested(const std::string& open, const std::string& close, std::size_t depth,
                   const std::string& centre = "") {
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

TEST(ReaderDepth, ThousandLevelsAreReadAndWrittenBack) {
  const std::string text = Nested("[{\"k\":", "}]", 500, "0");
  Value root;
  ASSERT_TRUE(zkJson::Reader(kStrict).parse(text, root));
  EXPECT_EQ(Compact(root), text);
}

TEST(ReaderDepth, DeeperDocumentsAreRefused) {
  const std::string tooDeep = "Nesting too deep: more than 1000 levels of arrays and objects.";
  for (const std::string& text : {Nested("[", "]", 1001), std::string(100000, '['), Nested("{\"a\":", "}", 100000)}) {
    zkJson::Reader reader;
    Value root;
    ASSERT_FALSE(reader.parse(text, root)) << text.size();
    EXPECT_EQ(reader.getStructuredErrors().at(0).message, tooDeep);
  }
}

// Every proper prefix of a document is refused, whatever token it cuts.
TEST(ReaderRobustness, TruncatedDocumentsFail) {
  const std::string text =
      "{\"a\":[1,-2.5e+3,true,false,null],\"b\":\"x\\u00e9\\uD834\\uDD1E\\n\",\"c\":{\"$date\":1}, /* c */"
      " \"d\":{\"$binary\":\"AAEC\"}}";
  for (std::size_t length = 0; length < text.size(); ++length) {
    Value root;
    EXPECT_FALSE(zkJson::Reader().parse(text.substr(0, length), root)) << length;
  }
  Value root;
  EXPECT_TRUE(zkJson::Reader().parse(text, root));
}

// Random damage to a document must end in a clean verdict, and whatever is accepted must write
// a text that reads back and writes again unchanged; strict mode never accepts more than the
// default mode.
TEST(ReaderRobustness, DamagedDocumentsGiveConsistentVerdicts) {
  const std::string baseDocument =
      "{\"a\":[1,-2.5e+3,true,false,null,18446744073709551615],\"b\":\"x\\u00e9\\uD834\\uDD1E\\n\xC3\xA9\","
      "\"c\":{\"$date\":\"2023-11-14T22:13:20.000Z\"},\"d\":{\"$binary\":\"AAEC\", \"$type\":\"00\"}}";
  static constexpr char kAlphabet[] = "[]{}\",:\\/*0123456789-+.eEtrufalsn \n\x00\xC3\xA9\xFF\xED";
  const std::string alphabet(kAlphabet, sizeof(kAlphabet) - 1);
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  const auto next = [&state] {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::size_t>(state >> 33);
  };
  std::size_t accepted = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text = baseDocument;
    const std::size_t edits = 1 + next() % 3;
    for (std::size_t e = 0; e < edits; ++e) {
      const std::size_t at = next() % text.size();
      const char byte = alphabet[next() % alphabet.size()];
      switch (next() % 3) {
        case 0:
          text[at] = byte;
          break;
        case 1:
          text.insert(at, 1, byte);
          break;
        default:
          text.erase(at, 1);
      }
    }
    Value lenient;
    const bool lenientOk = zkJson::Reader().parse(text, lenient);
    Value strict;
    const bool strictOk = zkJson::Reader(kStrict).parse(text, strict);
    EXPECT_TRUE(lenientOk || !strictOk) << text;
    if (lenientOk) {
      ++accepted;
      const std::string written = Compact(lenient);
      Value again;
      ASSERT_TRUE(zkJson::Reader().parse(written, again)) << text;
      EXPECT_EQ(Compact(again), written) << text;
    }
  }
  // Single-byte damage leaves a fair share of documents valid; none at all means a broken base document.
  EXPECT_GT(accepted, 0u);
}

}  // namespace
