// zkJson::Value: type tests, conversions, access, copies and comparison.

#include <qvcryptoservice/zkjson.h>

#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <climits>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using zkJson::ArrayIndex;
using zkJson::Value;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Compact(const Value& v) {
  return zkJson::FastWriter({.spacedSeparator = false, .endingLineFeed = false}).write(v);
}

Value Read(const std::string& text) {
  Value root;
  EXPECT_TRUE(zkJson::Reader().parse(text, root)) << text;
  return root;
}

// The type code and the names of the type tests that pass, e.g. "5 bool".
std::string TypeOf(const Value& v) {
  const std::pair<const char*, bool> tests[] = {
      {"null", v.isNull()},       {"bool", v.isBool()},     {"int", v.isInt()},           {"uint", v.isUInt()},
      {"int64", v.isInt64()},     {"uint64", v.isUInt64()}, {"integral", v.isIntegral()}, {"double", v.isDouble()},
      {"numeric", v.isNumeric()}, {"string", v.isString()}, {"array", v.isArray()},       {"object", v.isObject()},
      {"date", v.isDate()},       {"binary", v.isBinary()}};
  std::string text = std::to_string(static_cast<int>(v.type()));
  for (const auto& [name, passes] : tests) {
    text += passes ? std::string(" ") + name : "";
  }
  return text;
}

std::string Shortest(double d) {
  std::array<char, 32> buffer{};
  return std::string(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), d).ptr);
}

std::string MemberNames(const Value& v) {
  Value names(zkJson::arrayValue);
  for (const std::string& name : v.getMemberNames()) {
    names.append(name);
  }
  return Compact(names);
}

std::string YesNo(bool answer) { return answer ? "yes" : "no"; }

// The text of `v` after the operation in the argument: what an access creates shows there.
std::string TextAfter(const Value& v, const Value& /*accessed*/) { return Compact(v); }
std::string AnswerAndTextAfter(bool answer, const Value& v) { return YesNo(answer) + " " + Compact(v); }

// Operations by their name in tests/data/json_value_operations.tsv, given the row's argument.
using Operation = std::function<std::string(Value&, const std::string&)>;

const std::map<std::string, Operation>& Operations() {
  using Arg = const std::string&;
  static const std::map<std::string, Operation> operations = {
      {"type", [](Value& v, Arg) { return TypeOf(v); }},
      {"asInt", [](Value& v, Arg) { return std::to_string(v.asInt()); }},
      {"asUInt", [](Value& v, Arg) { return std::to_string(v.asUInt()); }},
      {"asInt64", [](Value& v, Arg) { return std::to_string(v.asInt64()); }},
      {"asUInt64", [](Value& v, Arg) { return std::to_string(v.asUInt64()); }},
      {"asDouble", [](Value& v, Arg) { return Shortest(v.asDouble()); }},
      {"asBool", [](Value& v, Arg) { return std::string(v.asBool() ? "true" : "false"); }},
      {"asString", [](Value& v, Arg) { return v.asString(); }},
      {"asDate", [](Value& v, Arg) { return std::to_string(v.asDate()); }},
      {"asBinary", [](Value& v, Arg) { return testsupport::ToHex(v.asBinary()); }},
      {"[unsigned]", [](Value& v, Arg i) { return TextAfter(v, v[static_cast<ArrayIndex>(std::stoul(i))]); }},
      {"[int]", [](Value& v, Arg i) { return TextAfter(v, v[std::stoi(i)]); }},
      {"[key]", [](Value& v, Arg key) { return TextAfter(v, v[key.c_str()]); }},
      {"const [unsigned]",
       [](Value& v, Arg i) { return Compact(std::as_const(v)[static_cast<ArrayIndex>(std::stoul(i))]); }},
      {"const [int]", [](Value& v, Arg i) { return Compact(std::as_const(v)[std::stoi(i)]); }},
      {"const [key]", [](Value& v, Arg key) { return Compact(std::as_const(v)[key.c_str()]); }},
      {"get", [](Value& v, Arg key) { return Compact(v.get(key, Value("default"))); }},
      {"isMember", [](Value& v, Arg key) { return YesNo(v.isMember(key)); }},
      {"removeMember", [](Value& v, Arg key) { return AnswerAndTextAfter(v.removeMember(key), v); }},
      {"getMemberNames", [](Value& v, Arg) { return MemberNames(v); }},
      {"append", [](Value& v, Arg) { return TextAfter(v, v.append(1)); }},
      {"==", [](Value& v, Arg text) { return YesNo(v == Read(text)) + " " + YesNo(Read(text) == v); }},
      {"setComment",
       [](Value& v, Arg comment) {
         v.setComment(comment.c_str(), zkJson::commentBefore);
         return v.getComment(zkJson::commentBefore);
       }},
  };
  return operations;
}

std::string Outcome(const std::function<std::string()>& operation) {
  try {
    return operation();
  } catch (const std::runtime_error& e) {
    return std::string("throw: ") + e.what();
  }
}

TEST(Value, OperationsGiveTheirAnswerOrExactError) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("json_value_operations.tsv")) {
    Value value = Read(row["value"]);
    const Operation& operation = Operations().at(row["operation"]);
    EXPECT_EQ(Outcome([&] { return operation(value, row["argument"]); }), row["result"]) << row.where;
  }
}

// What no JSON text reads as: small unsigned integers, NaN, the empty forms of some types.
TEST(Value, ConstructedValues) {
  EXPECT_EQ(TypeOf(Value(7u)), "2 int uint int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(std::size_t{3})), "2 int uint int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(std::uint64_t{UINT_MAX} + 1)), "2 int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(zkJson::dateValue)), "100 date");
  EXPECT_EQ(TypeOf(Value(zkJson::binaryValue)), "110 binary");
  EXPECT_EQ(Value(5u).asInt(), 5);
  EXPECT_EQ(Value(1), Value(1u));
  EXPECT_NE(Value(-1), Value(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_NE(Value(kNaN), Value(kNaN));
  EXPECT_EQ(Outcome([] { return std::to_string(Value(kNaN).asInt()); }),
            "throw: in zkJson::Value::asInt(): value is out of Int range");
  EXPECT_FALSE(Value(kNaN).asBool());
  EXPECT_EQ(Compact(Value(kNaN)), "null");
  EXPECT_EQ(Outcome([] { return Compact(Value("x", std::numeric_limits<std::size_t>::max())); }),
            "throw: in zkJson::Value::duplicateStringValue(): Failed to allocate string value buffer");
  EXPECT_EQ(Outcome([] { return Compact(Value(static_cast<zkJson::ValueType>(42))); }),
            "throw: in zkJson::Value::Value(ValueType): unknown type code");
}

TEST(Value, CopiesAreDeepAndMovesLeaveNull) {
  Value original = Read("{\"list\":[\"x\"]}");
  original.setComment("// kept", zkJson::commentBefore);
  Value copy = original;
  copy["list"].append("y");
  EXPECT_EQ(Compact(original), "{\"list\":[\"x\"]}");
  EXPECT_EQ(copy.getComment(zkJson::commentBefore), "// kept");
  Value moved = std::move(copy);
  EXPECT_TRUE(copy.isNull());  // NOLINT(bugprone-use-after-move): the moved-from state is documented.
  // The source of an assignment may live inside its target.
  moved = moved["list"];
  EXPECT_EQ(Compact(moved), "[\"x\",\"y\"]");
  moved = std::move(moved[1]);
  EXPECT_EQ(Compact(moved), "\"y\"");
}

}  // namespace
