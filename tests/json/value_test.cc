#include <qvcryptoservice/zkjson_value.h>

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using zkJson::Value;

// Names each parameterised case after its `name` field.
struct CaseName {
  template <typename Case>
  std::string operator()(const testing::TestParamInfo<Case>& param) const {
    return param.param.name;
  }
};

// Which type tests a value passes, as a string of the tests' initials so that a failure shows
// the whole picture at once.
std::string TypeTests(const Value& v) {
  std::string passed;
  const std::array<std::pair<bool, const char*>, 14> tests = {{{v.isNull(), "null "},
                                                               {v.isBool(), "bool "},
                                                               {v.isInt(), "int "},
                                                               {v.isUInt(), "uint "},
                                                               {v.isInt64(), "int64 "},
                                                               {v.isUInt64(), "uint64 "},
                                                               {v.isIntegral(), "integral "},
                                                               {v.isDouble(), "double "},
                                                               {v.isNumeric(), "numeric "},
                                                               {v.isString(), "string "},
                                                               {v.isArray(), "array "},
                                                               {v.isObject(), "object "},
                                                               {v.isDate(), "date "},
                                                               {v.isBinary(), "binary "}}};
  for (const auto& [result, name] : tests) {
    if (result) {
      passed += name;
    }
  }
  return passed;
}

struct TypeCase {
  const char* name;
  Value value;
  int typeCode;
  const char* typeTests;
};

void PrintTo(const TypeCase& c, std::ostream* os) { *os << c.name; }

class ValueTypes : public testing::TestWithParam<TypeCase> {};

TEST_P(ValueTypes, TypeCodeAndTypeTests) {
  const TypeCase& c = GetParam();
  EXPECT_EQ(static_cast<int>(c.value.type()), c.typeCode);
  EXPECT_EQ(TypeTests(c.value), c.typeTests);
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, ValueTypes,
    testing::ValuesIn(std::vector<TypeCase>{
        {"null", Value(), 0, "null "},
        {"negativeInt", Value(-1), 1, "int int64 integral double numeric "},
        {"int64Min", Value(std::numeric_limits<std::int64_t>::min()), 1, "int64 integral double numeric "},
        {"intAboveInt", Value(std::int64_t{INT_MAX} + 1), 1, "uint int64 uint64 integral double numeric "},
        {"smallUnsigned", Value(7u), 2, "int uint int64 uint64 integral double numeric "},
        {"uint64Max", Value(std::numeric_limits<std::uint64_t>::max()), 2, "uint64 integral double numeric "},
        {"uintAboveUInt", Value(std::uint64_t{UINT_MAX} + 1), 2, "int64 uint64 integral double numeric "},
        {"real", Value(1.5), 3, "double numeric "},
        {"string", Value("text"), 4, "string "},
        {"boolean", Value(true), 5, "bool "},
        {"array", Value(zkJson::arrayValue), 6, "array "},
        {"object", Value(zkJson::objectValue), 7, "object "},
        {"date", Value(zkJson::Date{1700000000000}), 100, "date "},
        {"binary", Value(zkJson::Binary{{0, 1, 2}}), 110, "binary "},
        {"emptyDate", Value(zkJson::dateValue), 100, "date "},
        {"absentBinary", Value(zkJson::binaryValue), 110, "binary "},
        {"shortWidensToInt", Value(static_cast<short>(-3)), 1, "int int64 integral double numeric "},
        {"sizeIsUnsigned", Value(std::size_t{3}), 2, "int uint int64 uint64 integral double numeric "},
    }),
    CaseName());

std::string Shortest(double d) {
  std::array<char, 32> buffer{};
  return std::string(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), d).ptr);
}

// A conversion's result as text, or "throw: <what>".
struct ConversionCase {
  const char* name;
  Value value;
  std::function<std::string(const Value&)> convert;
  std::string expected;
};

void PrintTo(const ConversionCase& c, std::ostream* os) { *os << c.name; }

const auto kAsInt = [](const Value& v) { return std::to_string(v.asInt()); };
const auto kAsUInt = [](const Value& v) { return std::to_string(v.asUInt()); };
const auto kAsInt64 = [](const Value& v) { return std::to_string(v.asInt64()); };
const auto kAsUInt64 = [](const Value& v) { return std::to_string(v.asUInt64()); };
const auto kAsDouble = [](const Value& v) { return Shortest(v.asDouble()); };
const auto kAsBool = [](const Value& v) { return std::string(v.asBool() ? "true" : "false"); };
const auto kAsString = [](const Value& v) { return v.asString(); };
const auto kAsDate = [](const Value& v) { return std::to_string(v.asDate()); };
const auto kAsBinary = [](const Value& v) { return std::to_string(v.asBinary().size()); };

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

class Conversions : public testing::TestWithParam<ConversionCase> {};

TEST_P(Conversions, GiveValueOrExactError) {
  const ConversionCase& c = GetParam();
  std::string actual;
  try {
    actual = c.convert(c.value);
  } catch (const std::runtime_error& e) {
    actual = std::string("throw: ") + e.what();
  }
  EXPECT_EQ(actual, c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Conversions,
    testing::ValuesIn(std::vector<ConversionCase>{
        {"IntFromNull", Value(), kAsInt, "0"},
        {"IntFromBool", Value(true), kAsInt, "1"},
        {"IntMax", Value(INT_MAX), kAsInt, "2147483647"},
        {"IntMin", Value(INT_MIN), kAsInt, "-2147483648"},
        {"IntOverflow", Value(std::int64_t{INT_MAX} + 1), kAsInt,
         "throw: in zkJson::Value::asInt(): value is out of Int range"},
        {"IntFromUnsigned", Value(5u), kAsInt, "5"},
        {"IntTruncatesReal", Value(-2.9), kAsInt, "-2"},
        {"IntFromHugeReal", Value(1e10), kAsInt, "throw: in zkJson::Value::asInt(): value is out of Int range"},
        {"IntFromNaN", Value(kNaN), kAsInt, "throw: in zkJson::Value::asInt(): value is out of Int range"},
        {"IntFromDate", Value(zkJson::Date{7}), kAsInt, "7"},
        {"IntFromString", Value("5"), kAsInt, "throw: in zkJson::Value::asInt(): value is not convertible to Int"},
        {"IntFromArray", Value(zkJson::arrayValue), kAsInt,
         "throw: in zkJson::Value::asInt(): value is not convertible to Int"},
        {"UIntFromNegative", Value(-1), kAsUInt, "throw: in zkJson::Value::asUInt(): value is out of UInt range"},
        {"UIntMax", Value(UINT_MAX), kAsUInt, "4294967295"},
        {"UIntOverflow", Value(std::uint64_t{UINT_MAX} + 1), kAsUInt,
         "throw: in zkJson::Value::asUInt(): value is out of UInt range"},
        {"UIntTruncatesSmallNegativeReal", Value(-0.5), kAsUInt, "0"},
        {"UIntFromBinary", Value(zkJson::Binary{}), kAsUInt,
         "throw: in zkJson::Value::asUInt(): value is not convertible to UInt"},
        {"Int64FromLargeUnsigned", Value(std::uint64_t{1} << 63), kAsInt64,
         "throw: in zkJson::Value::asInt64(): value is out of Int64 range"},
        {"Int64Min", Value(std::numeric_limits<std::int64_t>::min()), kAsInt64, "-9223372036854775808"},
        {"Int64FromTwoPow63Real", Value(9223372036854775808.0), kAsInt64,
         "throw: in zkJson::Value::asInt64(): value is out of Int64 range"},
        {"Int64FromMinusTwoPow63Real", Value(-9223372036854775808.0), kAsInt64, "-9223372036854775808"},
        {"Int64FromInfinity", Value(kInf), kAsInt64, "throw: in zkJson::Value::asInt64(): value is out of Int64 range"},
        {"Int64FromNegativeDate", Value(zkJson::Date{-5}), kAsInt64, "-5"},
        {"UInt64Max", Value(std::numeric_limits<std::uint64_t>::max()), kAsUInt64, "18446744073709551615"},
        {"UInt64FromLargeReal", Value(1.8e19), kAsUInt64, "18000000000000000000"},
        {"UInt64FromTwoPow64Real", Value(18446744073709551616.0), kAsUInt64,
         "throw: in zkJson::Value::asUInt64(): value is out of UInt64 range"},
        {"UInt64FromNegative", Value(-1), kAsUInt64,
         "throw: in zkJson::Value::asUInt64(): value is out of UInt64 range"},
        {"UInt64FromNegativeDate", Value(zkJson::Date{-1}), kAsUInt64,
         "throw: in zkJson::Value::asUInt64(): value is out of UInt64 range"},
        {"DoubleFromUInt64Max", Value(std::numeric_limits<std::uint64_t>::max()), kAsDouble, "18446744073709551616"},
        {"DoubleFromNull", Value(), kAsDouble, "0"},
        {"DoubleFromFalse", Value(false), kAsDouble, "0"},
        {"DoubleFromString", Value("1.5"), kAsDouble,
         "throw: in zkJson::Value::asDouble(): value is not convertible to Double"},
        {"DoubleFromObject", Value(zkJson::objectValue), kAsDouble,
         "throw: in zkJson::Value::asDouble(): value is not convertible to Double"},
        {"BoolFromNull", Value(), kAsBool, "false"},
        {"BoolFromTwo", Value(2), kAsBool, "true"},
        {"BoolFromZeroUnsigned", Value(0u), kAsBool, "false"},
        {"BoolFromNegativeZero", Value(-0.0), kAsBool, "false"},
        {"BoolFromNaN", Value(kNaN), kAsBool, "false"},
        {"BoolFromReal", Value(0.25), kAsBool, "true"},
        {"BoolFromString", Value("true"), kAsBool,
         "throw: in zkJson::Value::asBool(): value is not convertible to Bool"},
        {"BoolFromDate", Value(zkJson::Date{1}), kAsBool,
         "throw: in zkJson::Value::asBool(): value is not convertible to Bool"},
        {"StringFromNull", Value(), kAsString, ""},
        {"StringFromString", Value(std::string("a\0b", 3)), kAsString, std::string("a\0b", 3)},
        {"StringFromBool", Value(false), kAsString, "false"},
        {"StringFromInt", Value(-42), kAsString, "-42"},
        {"StringFromUInt64Max", Value(std::numeric_limits<std::uint64_t>::max()), kAsString, "18446744073709551615"},
        {"StringFromReal", Value(0.1), kAsString, "0.1"},
        {"StringFromLargeReal", Value(1e300), kAsString, "1e+300"},
        {"StringFromDate", Value(zkJson::Date{1}), kAsString,
         "throw: in zkJson::Value::asString(): value is not convertible to String"},
        {"StringFromBinary", Value(zkJson::Binary{{65}}), kAsString,
         "throw: in zkJson::Value::asString(): value is not convertible to String"},
        {"StringFromArray", Value(zkJson::arrayValue), kAsString,
         "throw: in zkJson::Value::asString(): value is not convertible to String"},
        {"DateFromDate", Value(zkJson::Date{-62135596800000}), kAsDate, "-62135596800000"},
        {"DateFromInt", Value(5), kAsDate, "throw: in zkJson::Value::asDate(): requires dateValue"},
        {"BinaryFromBinary", Value(zkJson::Binary{{1, 2, 3}}), kAsBinary, "3"},
        {"BinaryFromAbsentPayload", Value(zkJson::binaryValue), kAsBinary, "0"},
        {"BinaryFromString", Value("AAEC"), kAsBinary, "throw: in zkJson::Value::asBinary(): requires binaryValue"},
    }),
    CaseName());

// Each misuse with the exact text callers match on.
struct MisuseCase {
  const char* name;
  std::function<void()> misuse;
  const char* message;
};

void PrintTo(const MisuseCase& c, std::ostream* os) { *os << c.name; }

class Misuse : public testing::TestWithParam<MisuseCase> {};

TEST_P(Misuse, ThrowsRuntimeErrorWithExactText) {
  const MisuseCase& c = GetParam();
  try {
    c.misuse();
    ADD_FAILURE() << "no exception, expected: " << c.message;
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), c.message);
  }
}

INSTANTIATE_TEST_SUITE_P(Texts, Misuse,
                         testing::ValuesIn(std::vector<MisuseCase>{
                             {"IndexIntoNumber",
                              [] {
                                Value v(5);
                                v[0u];
                              },
                              "in zkJson::Value::operator[](ArrayIndex): requires arrayValue"},
                             {"ConstIndexIntoString",
                              [] {
                                const Value v("s");
                                v[0u];
                              },
                              "in zkJson::Value::operator[](ArrayIndex)const: requires arrayValue"},
                             {"NegativeIndex",
                              [] {
                                Value v(zkJson::arrayValue);
                                v[-1];
                              },
                              "in zkJson::Value::operator[](int index): index cannot be negative"},
                             {"ConstNegativeIndex",
                              [] {
                                const Value v(zkJson::arrayValue);
                                v[-1];
                              },
                              "in zkJson::Value::operator[](int index) const: index cannot be negative"},
                             {"MemberOfArray",
                              [] {
                                Value v(zkJson::arrayValue);
                                v["a"];
                              },
                              "in zkJson::Value::resolveReference(): requires objectValue"},
                             {"StringMemberOfBinary",
                              [] {
                                Value v(zkJson::binaryValue);
                                v[std::string("a")];
                              },
                              "in zkJson::Value::resolveReference(): requires objectValue"},
                             {"ConstMemberOfArray",
                              [] {
                                const Value v(zkJson::arrayValue);
                                v["a"];
                              },
                              "in zkJson::Value::operator[](char const*)const: requires objectValue"},
                             {"ConstStringMemberOfDate",
                              [] {
                                const Value v(zkJson::Date{});
                                v[std::string("a")];
                              },
                              "in zkJson::Value::operator[](char const*)const: requires objectValue"},
                             {"MemberNamesOfArray", [] { Value(zkJson::arrayValue).getMemberNames(); },
                              "in zkJson::Value::getMemberNames(), value must be objectValue"},
                             {"CommentWithoutSlash", [] { Value().setComment("# note", zkJson::commentBefore); },
                              "in zkJson::Value::setComment(): Comments must start with /"},
                             {"EmptyComment", [] { Value().setComment(std::string(), zkJson::commentAfter); },
                              "in zkJson::Value::setComment(): Comments must start with /"},
                             {"UnallocatableString", [] { Value("x", std::numeric_limits<std::size_t>::max()); },
                              "in zkJson::Value::duplicateStringValue(): Failed to allocate string value buffer"},
                             {"AppendToBool", [] { Value(true).append(1); },
                              "in zkJson::Value::append(): requires arrayValue"},
                             {"UnknownTypeCode", [] { Value(static_cast<zkJson::ValueType>(42)); },
                              "in zkJson::Value::Value(ValueType): unknown type code"},
                         }),
                         CaseName());

TEST(ValueAccess, NonConstAccessCreatesConstAccessDoesNot) {
  Value record;
  record["b"] = 2;
  record[std::string("a")] = "x";
  record["empty"];
  EXPECT_TRUE(record.isObject());
  EXPECT_EQ(record.size(), 3u);
  EXPECT_TRUE(record["empty"].isNull());
  EXPECT_TRUE(record.isMember("empty"));

  const Value& constRecord = record;
  EXPECT_TRUE(constRecord["missing"].isNull());
  EXPECT_FALSE(record.isMember("missing"));
  EXPECT_EQ(constRecord["b"].asInt(), 2);
  EXPECT_EQ(record.get("a", Value("default")).asString(), "x");
  EXPECT_EQ(record.get("gone", Value("default")).asString(), "default");
  EXPECT_TRUE(record.removeMember("a"));
  EXPECT_FALSE(record.removeMember("a"));
  EXPECT_EQ(record.size(), 2u);

  const Value null;
  EXPECT_TRUE(null["x"].isNull());
  EXPECT_TRUE(null[3].isNull());
  EXPECT_TRUE(null.getMemberNames().empty());
  EXPECT_FALSE(Value(zkJson::arrayValue).isMember("x"));
}

TEST(ValueAccess, ArraysGrowToTheIndexAndAppend) {
  Value list;
  list[2] = "third";
  ASSERT_TRUE(list.isArray());
  EXPECT_EQ(list.size(), 3u);
  EXPECT_TRUE(list[0].isNull());
  EXPECT_EQ(list.append(4).asInt(), 4);
  EXPECT_EQ(list.size(), 4u);
  const Value& constList = list;
  EXPECT_TRUE(constList[10u].isNull());
  EXPECT_EQ(list.size(), 4u);
  EXPECT_EQ(constList[2].asString(), "third");
}

TEST(ValueAccess, MemberNamesComeInAscendingByteOrder) {
  Value object;
  for (const std::string& name : {std::string("\xC3\xA9"), std::string("b"), std::string("aa"), std::string("a\0b", 3),
                                  std::string("Z"), std::string()}) {
    object[name] = name;
  }
  const Value::Members expected = {"", "Z", std::string("a\0b", 3), "aa", "b", "\xC3\xA9"};
  EXPECT_EQ(object.getMemberNames(), expected);
}

TEST(ValueAccess, CopiesAreDeepAndMovesLeaveNull) {
  Value original;
  original["list"].append("x");
  original.setComment("// kept", zkJson::commentBefore);
  Value copy = original;
  copy["list"].append("y");
  EXPECT_EQ(original["list"].size(), 1u);
  EXPECT_EQ(copy.getComment(zkJson::commentBefore), "// kept");

  Value moved = std::move(copy);
  EXPECT_TRUE(copy.isNull());  // NOLINT(bugprone-use-after-move): the moved-from state is documented.
  EXPECT_EQ(moved["list"].size(), 2u);
}

TEST(ValueAccess, AssignmentFromOwnMember) {
  Value outer;
  outer["inner"]["leaf"] = 1;
  outer = outer["inner"];
  EXPECT_EQ(outer.getMemberNames(), Value::Members{"leaf"});

  Value list;
  list.append(Value(zkJson::arrayValue)).append("deep");
  list = std::move(list[0]);
  ASSERT_TRUE(list.isArray());
  EXPECT_EQ(list[0].asString(), "deep");
}

TEST(ValueComments, StoredPerPlacement) {
  Value v(1);
  EXPECT_FALSE(v.hasComment(zkJson::commentBefore));
  v.setComment("/* before */", zkJson::commentBefore);
  v.setComment(std::string("// same line"), zkJson::commentAfterOnSameLine);
  EXPECT_EQ(v.getComment(zkJson::commentBefore), "/* before */");
  EXPECT_EQ(v.getComment(zkJson::commentAfterOnSameLine), "// same line");
  EXPECT_FALSE(v.hasComment(zkJson::commentAfter));
  EXPECT_EQ(v.getComment(zkJson::commentAfter), "");
}

struct EqualityCase {
  const char* name;
  Value a;
  Value b;
  bool equal;
};

void PrintTo(const EqualityCase& c, std::ostream* os) { *os << c.name; }

class Equality : public testing::TestWithParam<EqualityCase> {};

TEST_P(Equality, ComparesTypeAndPayload) {
  const EqualityCase& c = GetParam();
  EXPECT_EQ(c.a == c.b, c.equal);
  EXPECT_EQ(c.b == c.a, c.equal);
}

Value Commented(Value v) {
  v.setComment("// differs", zkJson::commentBefore);
  return v;
}

Value Pair(Value first, Value second) {
  Value list;
  list.append(std::move(first));
  list.append(std::move(second));
  return list;
}

INSTANTIATE_TEST_SUITE_P(
    Table, Equality,
    testing::ValuesIn(std::vector<EqualityCase>{
        {"SignedEqualsUnsigned", Value(1), Value(1u), true},
        {"MinusOneIsNotUInt64Max", Value(-1), Value(std::numeric_limits<std::uint64_t>::max()), false},
        {"IntegerIsNotReal", Value(1), Value(1.0), false},
        {"NaNIsNotNaN", Value(kNaN), Value(kNaN), false},
        {"NullIsNotFalse", Value(), Value(false), false},
        {"EmptyStringIsNotNull", Value(""), Value(), false},
        {"EmbeddedNulCounts", Value(std::string("a\0b", 3)), Value("a"), false},
        {"DateIsNotItsNumber", Value(zkJson::Date{5}), Value(5), false},
        {"DatesByMilliseconds", Value(zkJson::Date{5}), Value(zkJson::Date{5}), true},
        {"AbsentBinaryIsEmpty", Value(zkJson::binaryValue), Value(zkJson::Binary{}), true},
        {"BinaryBytes", Value(zkJson::Binary{{1, 2}}), Value(zkJson::Binary{{1, 3}}), false},
        {"BinaryIsNotArray", Value(zkJson::Binary{}), Value(zkJson::arrayValue), false},
        {"CommentsIgnored", Commented(Value("x")), Value("x"), true},
        {"ArrayOrderMatters", Pair(1, 2), Pair(2, 1), false},
        {"ArraysDeep", Pair(Pair(1, "x"), Value()), Pair(Pair(1u, "x"), Value()), true},
        {"EmptyArrayIsNotEmptyObject", Value(zkJson::arrayValue), Value(zkJson::objectValue), false},
    }),
    CaseName());

TEST(Equality, ObjectsCompareNamesAndValues) {
  Value a;
  a["x"] = 1;
  a["y"] = "s";
  Value b;
  b["y"] = "s";
  b["x"] = 1u;
  EXPECT_EQ(a, b);
  b["z"];
  EXPECT_NE(a, b);
  a["z"] = false;
  EXPECT_NE(a, b);
}

}  // namespace
