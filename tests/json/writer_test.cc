#include <qvcryptoservice/zkjson.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

using zkJson::Value;

const double kInf = std::numeric_limits<double>::infinity();

std::string Compact(const Value& v) {
  zkJson::WriterOptions options;
  options.endingLineFeed = false;
  return zkJson::FastWriter(options).write(v);
}

Value List(std::vector<Value> elements) {
  Value list(zkJson::arrayValue);
  for (Value& element : elements) {
    list.append(std::move(element));
  }
  return list;
}

Value Object(std::vector<std::pair<std::string, Value>> members) {
  Value object(zkJson::objectValue);
  for (auto& [name, value] : members) {
    object[name] = std::move(value);
  }
  return object;
}

struct WriteCase {
  const char* name;
  Value value;
  std::string text;
};

void PrintTo(const WriteCase& c, std::ostream* os) { *os << c.name; }

struct CaseName {
  template <typename Case>
  std::string operator()(const testing::TestParamInfo<Case>& param) const {
    return param.param.name;
  }
};

class FastWriterText : public testing::TestWithParam<WriteCase> {};

TEST_P(FastWriterText, IsByteExact) { EXPECT_EQ(Compact(GetParam().value), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(
    Table, FastWriterText,
    testing::ValuesIn(std::vector<WriteCase>{
        {"Null", Value(), "null"},
        {"True", Value(true), "true"},
        {"False", Value(false), "false"},
        {"Zero", Value(0), "0"},
        {"Int64Min", Value(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
        {"UInt64Max", Value(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
        {"RealTenth", Value(0.1), "0.1"},
        {"RealIntegral", Value(1.0), "1"},
        {"RealNegativeZero", Value(-0.0), "-0"},
        {"RealSixteenDigits", Value(1e15), "1000000000000000"},
        {"RealSeventeenDigits", Value(1e16), "1e+16"},
        {"RealRoundedTo16", Value(123456789012345678.0), "1.234567890123457e+17"},
        {"RealSumRoundedTo16", Value(0.1 + 0.2), "0.3"},
        {"RealSmallFixed", Value(0.0001), "0.0001"},
        {"RealSmallExponent", Value(0.00001), "1e-05"},
        {"RealNegativeExponent", Value(-2.5e-7), "-2.5e-07"},
        {"RealDenormal", Value(5e-324), "4.940656458412465e-324"},
        {"RealMax", Value(std::numeric_limits<double>::max()), "1.797693134862316e+308"},
        {"RealNaN", Value(std::numeric_limits<double>::quiet_NaN()), "null"},
        {"RealInfinity", Value(kInf), "1e+9999"},
        {"RealNegativeInfinity", Value(-kInf), "-1e+9999"},
        {"EmptyString", Value(""), "\"\""},
        {"ShortEscapes", Value("\"\\\b\f\n\r\t/"), "\"\\\"\\\\\\b\\f\\n\\r\\t/\""},
        {"ControlEscapes", Value(std::string("\x00\x01\x1f\x7f", 4)), "\"\\u0000\\u0001\\u001f\x7f\""},
        {"Utf8Kept", Value("caf\xC3\xA9 \xF0\x9D\x84\x9E"), "\"caf\xC3\xA9 \xF0\x9D\x84\x9E\""},
        {"InvalidUtf8Kept", Value("\xFF\xC3("), "\"\xFF\xC3(\""},
        {"EmptyArray", Value(zkJson::arrayValue), "[]"},
        {"EmptyObject", Value(zkJson::objectValue), "{}"},
        {"Array", List({1, "x", Value(), List({})}), "[1,\"x\",null,[]]"},
        {"ObjectInByteOrder", Object({{"b", 1}, {"\xC3\xA9", 2}, {"B", 3}, {"a\"", 4}}),
         "{\"B\":3,\"a\\\"\":4,\"b\":1,\"\xC3\xA9\":2}"},
        {"Date", Value(zkJson::Date{1700000000000}), "{\"$date\":1700000000000}"},
        {"DateBefore1970", Value(zkJson::Date{-1}), "{\"$date\":-1}"},
        {"Binary", Value(zkJson::Binary{{0x00, 0x01, 0x02}}), "{\"$binary\":\"AAEC\", \"$type\":\"00\"}"},
        {"BinaryOnePadding", Value(zkJson::Binary{{0xFF, 0xFE}}), "{\"$binary\":\"//4=\", \"$type\":\"00\"}"},
        {"BinaryTwoPadding", Value(zkJson::Binary{{0xFB}}), "{\"$binary\":\"+w==\", \"$type\":\"00\"}"},
        {"BinaryAbsent", Value(zkJson::binaryValue), "{\"$binary\":\"\", \"$type\":\"00\"}"},
        {"Nested", Object({{"list", List({Value(zkJson::Date{0}), Object({{"k", Value(zkJson::Binary{{1}})}})})}}),
         "{\"list\":[{\"$date\":0},{\"k\":{\"$binary\":\"AQ==\", \"$type\":\"00\"}}]}"},
    }),
    CaseName());

// The escape of every byte that needs one, wherever it falls in a long string: plain runs are
// skipped eight bytes at a time, so positions around each eight-byte boundary matter.
std::string EscapedOneByOne(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const char* named = byte == '"'    ? "\\\""
                        : byte == '\\' ? "\\\\"
                        : byte == '\b' ? "\\b"
                        : byte == '\f' ? "\\f"
                        : byte == '\n' ? "\\n"
                        : byte == '\r' ? "\\r"
                        : byte == '\t' ? "\\t"
                                       : nullptr;
    if (named != nullptr) {
      quoted += named;
    } else if (byte < 0x20) {
      static const char kHex[] = "0123456789abcdef";
      quoted += std::string("\\u00") + kHex[byte >> 4] + kHex[byte & 0x0F];
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

TEST(FastWriter, EscapesEveryByteThatNeedsItAtEveryPosition) {
  const std::string specials = std::string("\"\\\b\f\n\r\t\x01\x1f", 9) + std::string(1, '\0');
  for (const char special : specials) {
    for (std::size_t length = 1; length <= 26; ++length) {
      for (std::size_t at = 0; at < length; ++at) {
        std::string text(length, 'a');
        text[at] = special;
        // Bytes just outside the escaped ranges stay as they are: 0x20, 0x21, 0x23, 0x5B, 0x5D, 0x7F, 0xFF.
        text[(at + 3) % length] = text[(at + 3) % length] == 'a' ? static_cast<char>(0xFF) : text[(at + 3) % length];
        text[(at + 5) % length] = text[(at + 5) % length] == 'a' ? '#' : text[(at + 5) % length];
        text[(at + 7) % length] = text[(at + 7) % length] == 'a' ? ' ' : text[(at + 7) % length];
        ASSERT_EQ(Compact(Value(text)), EscapedOneByOne(text))
            << "byte " << int{special} << " at " << at << " of " << length;
      }
    }
  }
}

TEST(FastWriter, EndsWithLineFeedByDefault) {
  EXPECT_EQ(zkJson::FastWriter().write(Object({{"v", 1}})), "{\"v\":1}\n");
  const std::unique_ptr<zkJson::Writer> writer = std::make_unique<zkJson::FastWriter>();
  EXPECT_EQ(writer->write(List({})), "[]\n");
}

TEST(FastWriter, Options) {
  const Value v = Object({{"a", 1}, {"b", List({1, 2})}, {"d", Value(zkJson::Date{1})}});
  zkJson::FastWriter spaced;
  spaced.enableYAMLCompatibility();
  // The date form is fixed; only member separators get the blank.
  EXPECT_EQ(spaced.write(v), "{\"a\": 1,\"b\": [1,2],\"d\": {\"$date\":1}}\n");
  spaced.omitEndingLineFeed();
  EXPECT_EQ(spaced.write(Value(2)), "2");

  std::string buffer = "prefix:";
  zkJson::FastWriter().writeTo(v, buffer);
  EXPECT_EQ(buffer, "prefix:{\"a\":1,\"b\":[1,2],\"d\":{\"$date\":1}}\n");
}

// Texts in the writer's own form read and write back byte for byte.
class CanonicalText : public testing::TestWithParam<std::string> {};

TEST_P(CanonicalText, WritesBackUnchanged) {
  Value v;
  zkJson::Reader reader;
  ASSERT_TRUE(reader.parse(GetParam(), v)) << reader.getFormattedErrorMessages();
  EXPECT_EQ(Compact(v), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CanonicalText,
    testing::Values("{\"$binary\":\"AAEC\", \"$type\":\"00\"}", "{\"$date\":1700000000000}",
                    "[null,true,false,0,-1,18446744073709551615,-9223372036854775808,0.5,-1.5e-07,1e+300,1e+9999,"
                    "-1e+9999,-0,4.940656458412465e-324]",
                    std::string("{\"\":{},\"\\u0000\\u001f\":\"\\\"\\\\\\b\\f\\n\\r\\t/\x7f\",\"a\":[],\"b\":[[[]]]}"),
                    "\"caf\xC3\xA9 \xF0\x9D\x84\x9E \xFF\"", "{\"$date\":\"x\"}", "{\"$binary\":\"AAE\"}",
                    "{\"a\":{\"$date\":-1},\"b\":[{\"$binary\":\"\", \"$type\":\"00\"}]}", "123", "\"s\""));

Value EveryType() {
  Value v;
  v["null"];
  v["int"] = std::numeric_limits<std::int64_t>::min();
  v["uint"] = std::numeric_limits<std::uint64_t>::max();
  v["real"] = -1.25e-300;
  v["negativeZero"] = -0.0;
  v["infinity"] = kInf;
  v["minusInfinity"] = -kInf;
  static constexpr char kAwkward[] = "tab\t quote\" nul\0 \xC3\xA9 invalid \xFF";
  v["string"] = std::string(kAwkward, sizeof(kAwkward) - 1);
  v["true"] = true;
  v["false"] = false;
  v["array"] = List({1, "x", List({}), Value(zkJson::objectValue)});
  v["object"]["nested"]["deeper"] = 1;
  v["date"] = zkJson::Date{-62135596800000};
  v["binary"] = zkJson::Binary{{0, 1, 2, 255}};
  v["emptyBinary"] = zkJson::Binary{};
  return v;
}

TEST(RoundTrip, ValuesOfEveryTypeReadBackEqual) {
  const Value all = EveryType();
  for (const std::string& name : all.getMemberNames()) {
    Value again;
    ASSERT_TRUE(zkJson::Reader().parse(Compact(all[name]), again)) << name;
    EXPECT_EQ(again, all[name]) << name << " written as " << Compact(all[name]);
    EXPECT_EQ(again.type(), all[name].type()) << name;
  }
  Value again;
  ASSERT_TRUE(zkJson::Reader().parse(zkJson::FastWriter().write(all), again));
  EXPECT_EQ(again, all);
  EXPECT_TRUE(std::signbit(again["negativeZero"].asDouble()));
}

// Restores the C numeric locale however the test ends.
class NumericLocaleGuard {
 public:
  NumericLocaleGuard() : saved_(std::setlocale(LC_NUMERIC, nullptr)) {}
  ~NumericLocaleGuard() { std::setlocale(LC_NUMERIC, saved_.c_str()); }
  NumericLocaleGuard(const NumericLocaleGuard&) = delete;
  NumericLocaleGuard& operator=(const NumericLocaleGuard&) = delete;

 private:
  std::string saved_;
};

void ExpectLocaleIndependent() {
  EXPECT_EQ(Compact(List({1.5, -2.25e-7, 1e300})), "[1.5,-2.25e-07,1e+300]");
  Value v;
  ASSERT_TRUE(zkJson::Reader().parse("[1.5,-2.25e-07,1e+300]", v));
  EXPECT_EQ(v[0].asDouble(), 1.5);
  EXPECT_EQ(v[1].asDouble(), -2.25e-7);
  EXPECT_EQ(v[2].asDouble(), 1e300);
  EXPECT_EQ(Value(0.5).asString(), "0.5");
}

TEST(Locale, DecimalCommaInTheCLocaleChangesNothing) {
  const NumericLocaleGuard guard;
  const char* found = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8", "fr_FR", "nl_NL.UTF-8",
                           "ru_RU.UTF-8", "German_Germany.1252"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr && std::localeconv()->decimal_point[0] == ',') {
      found = name;
      break;
    }
  }
  if (found == nullptr) {
    GTEST_SKIP() << "no decimal-comma locale is installed (tried de_DE, fr_FR, nl_NL, ru_RU)";
  }
  ExpectLocaleIndependent();
}

// Runs everywhere: a global C++ locale with a decimal comma, which stream-based formatting
// would pick up.
TEST(Locale, DecimalCommaInTheGlobalCppLocaleChangesNothing) {
  struct CommaPunctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  // std::locale takes ownership of the facet.
  const std::locale comma(std::locale::classic(), std::make_unique<CommaPunctuation>().release());
  const std::locale previous = std::locale::global(comma);
  ExpectLocaleIndependent();
  std::locale::global(previous);
}

}  // namespace
