// FastWriter's options, and numbers that read and write alike whatever the process locale.
// The compact text of each kind of value is in tests/data/json_texts.tsv.

#include <qvcryptoservice/zkjson.h>

#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <memory>
#include <string>

namespace {

using zkJson::Value;

Value Read(const std::string& text) {
  Value root;
  EXPECT_TRUE(zkJson::Reader().parse(text, root)) << text;
  return root;
}

TEST(FastWriter, Options) {
  const Value v = Read("{\"a\":1,\"b\":[1,2],\"d\":{\"$date\":1}}");
  const std::unique_ptr<zkJson::Writer> plain = std::make_unique<zkJson::FastWriter>();
  EXPECT_EQ(plain->write(v), "{\"a\":1,\"b\":[1,2],\"d\":{\"$date\":1}}\n");
  zkJson::FastWriter spaced;
  spaced.enableYAMLCompatibility();
  // The date form is fixed; only member separators get the blank.
  EXPECT_EQ(spaced.write(v), "{\"a\": 1,\"b\": [1,2],\"d\": {\"$date\":1}}\n");
  spaced.omitEndingLineFeed();
  EXPECT_EQ(spaced.write(Value(2)), "2");
  std::string buffer = "prefix:";
  zkJson::FastWriter().writeTo(Value(zkJson::arrayValue), buffer);
  EXPECT_EQ(buffer, "prefix:[]\n");
}

void ExpectLocaleIndependent() {
  const Value v = Read("[1.5,-2.25e-07,1e+300]");
  EXPECT_EQ(v[1].asDouble(), -2.25e-7);
  EXPECT_EQ(zkJson::FastWriter().write(v), "[1.5,-2.25e-07,1e+300]\n");
  EXPECT_EQ(Value(0.5).asString(), "0.5");
}

TEST(Locale, DecimalCommaInTheCLocaleChangesNothing) {
  const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
  bool found = false;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "ru_RU.UTF-8", "German_Germany.1252"}) {
    found = found || (std::setlocale(LC_NUMERIC, name) != nullptr && std::localeconv()->decimal_point[0] == ',');
  }
  if (found) {
    ExpectLocaleIndependent();
  }
  std::setlocale(LC_NUMERIC, saved.c_str());
  if (!found) {
    GTEST_SKIP() << "no decimal-comma locale is installed";
  }
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
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), std::make_unique<CommaPunctuation>().release()));
  ExpectLocaleIndependent();
  std::locale::global(previous);
}

}  // namespace
