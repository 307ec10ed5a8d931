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

using zkJson::Value;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Compact(const Value& v) {
  zkJson::WriterOptions options;
  options.endingLineFeed = false;
  return zkJson::FastWriter(options).write(v);
}

Value Read(const std::string& text) {
  Value root;
  EXPECT_TRUE(zkJson::Reader().parse(text, root)) << text;
  return root;
}

// The type code and the names of the type tests that pass, e.g. "5 bool".
std::string TypeOf(const Value& v) {
  const std::array<bool, 14> passes = {v.isNull(),   v.isBool(),     v.isInt(),    v.isUInt(),    v.isInt64(),
                                       v.isUInt64(), v.isIntegral(), v.isDouble(), v.isNumeric(), v.isString(),
                                       v.isArray(),  v.isObject(),   v.isDate(),   v.isBinary()};
  const std::array<const char*, 14> names = {"null",   "bool",    "int",    "uint",  "int64",  "uint64", "integral",
                                             "double", "numeric", "string", "array", "object", "date",   "binary"};
  std::string text = std::to_string(static_cast<int>(v.type()));
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += passes[i] ? std::string(" ") + names[i] : "";
  }
  return text;
}

std::string Shortest(double d) {
  std::array<char, 32> buffer{};
  return std::string(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), d).ptr);
}

std::string MemberNames(const Value& v) {
  std::string text;
  for (const std::string& name : v.getMemberNames()) {
    text += "," + name;
  }
  return text.empty() ? text : text.substr(1);
}

using Operation = std::function<std::string(Value&)>;

const std::map<std::string, Operation>& Operations() {
  static const std::map<std::string, Operation> operations = {
      {"type", [](Value& v) { return TypeOf(v); }},
      {"asInt", [](Value& v) { return std::to_string(v.asInt()); }},
      {"asUInt", [](Value& v) { return std::to_string(v.asUInt()); }},
      {"asInt64", [](Value& v) { return std::to_string(v.asInt64()); }},
      {"asUInt64", [](Value& v) { return std::to_string(v.asUInt64()); }},
      {"asDouble", [](Value& v) { return Shortest(v.asDouble()); }},
      {"asBool", [](Value& v) { return std::string(v.asBool() ? "true" : "false"); }},
      {"asString", [](Value& v) { return v.asString(); }},
      {"asDate", [](Value& v) { return std::to_string(v.asDate()); }},
      {"asBinary", [](Value& v) { return testsupport::ToHex(v.asBinary()); }},
      {"[0u]", [](Value& v) { return Compact(v[0u]); }},
      {"const [0u]", [](Value& v) { return Compact(std::as_const(v)[0u]); }},
      {"[-1]", [](Value& v) { return Compact(v[-1]); }},
      {"const [-1]", [](Value& v) { return Compact(std::as_const(v)[-1]); }},
      {"[\"a\"]", [](Value& v) { return Compact(v["a"]); }},
      {"const [\"a\"]", [](Value& v) { return Compact(std::as_const(v)["a"]); }},
      {"getMemberNames", [](Value& v) { return MemberNames(v); }},
      {"append", [](Value& v) { return Compact(v.append(1)); }},
      {"setComment",
       [](Value& v) {
         v.setComment("# note", zkJson::commentBefore);
         return Compact(v);
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
    EXPECT_EQ(Outcome([&] { return operation(value); }), row["result"]) << row.where;
  }
}

// What no JSON text reads as: small unsigned integers, NaN, the empty forms of each type.
TEST(Value, ConstructedValues) {
  EXPECT_EQ(TypeOf(Value(7u)), "2 int uint int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(std::size_t{3})), "2 int uint int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(std::uint64_t{UINT_MAX} + 1)), "2 int64 uint64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(static_cast<short>(-3))), "1 int int64 integral double numeric");
  EXPECT_EQ(TypeOf(Value(zkJson::dateValue)), "100 date");
  EXPECT_EQ(TypeOf(Value(zkJson::binaryValue)), "110 binary");
  EXPECT_EQ(Value(5u).asInt(), 5);
  EXPECT_EQ(Outcome([] { return std::to_string(Value(kNaN).asInt()); }),
            "throw: in zkJson::Value::asInt(): value is out of Int range");
  EXPECT_FALSE(Value(kNaN).asBool());
  EXPECT_EQ(Compact(Value(kNaN)), "null");
  EXPECT_EQ(Outcome([] { return Compact(Value("x", std::numeric_limits<std::size_t>::max())); }),
            "throw: in zkJson::Value::duplicateStringValue(): Failed to allocate string value buffer");
  EXPECT_EQ(Outcome([] { return Compact(Value(static_cast<zkJson::ValueType>(42))); }),
            "throw: in zkJson::Value::Value(ValueType): unknown type code");
}

TEST(Value, NonConstAccessCreatesConstAccessDoesNot) {
  Value record;
  record["b"] = 2;
  record[std::string("a")] = "x";
  record["empty"];
  EXPECT_EQ(Compact(record), "{\"a\":\"x\",\"b\":2,\"empty\":null}");
  EXPECT_TRUE(std::as_const(record)["missing"].isNull());
  EXPECT_FALSE(record.isMember("missing"));
  EXPECT_EQ(record.get("a", Value("default")).asString(), "x");
  EXPECT_EQ(record.get("gone", Value("default")).asString(), "default");
  EXPECT_TRUE(record.removeMember("a"));
  EXPECT_FALSE(record.removeMember("a"));
  EXPECT_FALSE(Value(zkJson::arrayValue).isMember("x"));

  Value list;
  list[2] = "third";
  EXPECT_EQ(list.append(4).asInt(), 4);
  EXPECT_TRUE(std::as_const(list)[10u].isNull());
  EXPECT_EQ(Compact(list), "[null,null,\"third\",4]");
}

TEST(Value, CopiesAreDeepMovesLeaveNullAndSelfAssignmentKeepsTheSource) {
  Value original;
  original["list"].append("x");
  original.setComment("// kept", zkJson::commentBefore);
  Value copy = original;
  copy["list"].append("y");
  EXPECT_EQ(Compact(original), "{\"list\":[\"x\"]}");
  EXPECT_EQ(copy.getComment(zkJson::commentBefore), "// kept");
  EXPECT_FALSE(copy.hasComment(zkJson::commentAfter));
  Value moved = std::move(copy);
  EXPECT_TRUE(copy.isNull());  // NOLINT(bugprone-use-after-move): the moved-from state is documented.
  EXPECT_EQ(Compact(moved), "{\"list\":[\"x\",\"y\"]}");

  Value outer = Read("{\"inner\":{\"leaf\":1}}");
  outer = outer["inner"];
  EXPECT_EQ(Compact(outer), "{\"leaf\":1}");
  Value list = Read("[[\"deep\"]]");
  list = std::move(list[0]);
  EXPECT_EQ(Compact(list), "[\"deep\"]");
}

TEST(Value, EqualityComparesTypeAndPayload) {
  EXPECT_EQ(Value(1), Value(1u));
  EXPECT_NE(Value(-1), Value(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_NE(Value(kNaN), Value(kNaN));
  EXPECT_EQ(Read("/* ignored */ [1,{\"a\":\"x\",\"b\":{\"$binary\":\"\"}}]"),
            Read("[1,{\"b\":{\"$binary\":\"\"},\"a\":\"x\"}]"));
  for (const auto& [a, b] :
       std::vector<std::pair<const char*, const char*>>{{"1", "1.0"},
                                                        {"null", "false"},
                                                        {"\"\"", "null"},
                                                        {"\"a\\u0000b\"", "\"a\""},
                                                        {"{\"$date\":5}", "5"},
                                                        {"{\"$binary\":\"AQI=\"}", "{\"$binary\":\"AQM=\"}"},
                                                        {"{\"$binary\":\"\"}", "[]"},
                                                        {"[1,2]", "[2,1]"},
                                                        {"[]", "{}"},
                                                        {"{\"x\":1}", "{\"x\":1,\"z\":null}"},
                                                        {"{\"x\":1,\"z\":false}", "{\"x\":1,\"z\":null}"}}) {
    EXPECT_NE(Read(a), Read(b)) << a << " " << b;
    EXPECT_NE(Read(b), Read(a)) << a << " " << b;
  }
}

}  // namespace
