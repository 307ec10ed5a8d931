// The date and binary forms, read and written.

#include <qvcryptoservice/zkjson.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace {

using zkJson::Value;

std::string Compact(const Value& v) {
  zkJson::WriterOptions options;
  options.endingLineFeed = false;
  return zkJson::FastWriter(options).write(v);
}

Value Read(const std::string& text) {
  Value root;
  zkJson::Reader reader(zkJson::ReaderMode::kStrict);
  EXPECT_TRUE(reader.parse(text, root)) << text << ": " << reader.getFormattedErrorMessages();
  return root;
}

TEST(DateExtension, IntegerFormReadsAsDateAndWritesBackUnchanged) {
  const std::string text = "{\"$date\":1700000000000}";
  const Value date = Read(text);
  ASSERT_TRUE(date.isDate());
  EXPECT_EQ(date.type(), zkJson::dateValue);
  EXPECT_EQ(date.asDate(), 1700000000000);
  EXPECT_EQ(Compact(date), text);
}

TEST(DateExtension, SecondMemberKeepsAnOrdinaryObject) {
  const Value object = Read("{\"$date\":1700000000000,\"note\":\"x\"}");
  ASSERT_TRUE(object.isObject());
  EXPECT_EQ(object.size(), 2u);
  EXPECT_EQ(object["$date"].asInt64(), 1700000000000);
}

struct DateTextCase {
  const char* name;
  std::string text;
  bool isDate;
  std::int64_t milliseconds;
};

void PrintTo(const DateTextCase& c, std::ostream* os) { *os << c.name; }

class DateText : public testing::TestWithParam<DateTextCase> {};

TEST_P(DateText, ReadsAsDateOrStaysObject) {
  const DateTextCase& c = GetParam();
  const std::string text = "{\"$date\":\"" + c.text + "\"}";
  const Value value = Read(text);
  ASSERT_EQ(value.isDate(), c.isDate) << text;
  if (c.isDate) {
    EXPECT_EQ(value.asDate(), c.milliseconds);
    EXPECT_EQ(Compact(value), "{\"$date\":" + std::to_string(c.milliseconds) + "}");
  } else {
    ASSERT_TRUE(value.isObject());
    EXPECT_EQ(value["$date"].asString(), c.text);
    EXPECT_EQ(Compact(value), text);
  }
}

// Expected values are Unix times from an independent calendar (Python's calendar.timegm).
INSTANTIATE_TEST_SUITE_P(Table, DateText,
                         testing::ValuesIn(std::vector<DateTextCase>{
                             {"WithMilliseconds", "2023-11-14T22:13:20.000Z", true, 1700000000000},
                             {"MillisecondsAdded", "2023-11-14T22:13:20.123Z", true, 1700000000123},
                             {"ShortMilliseconds", "2023-11-14T22:13:20.5Z", true, 1700000000005},
                             {"SixFieldsOnly", "2023-11-14T22:13:20Z", true, 1700000000000},
                             {"SixFieldsNoZone", "2023-11-14T22:13:20", true, 1700000000000},
                             {"Epoch", "1970-01-01T00:00:00.000Z", true, 0},
                             {"LastMillisecondBefore1970", "1969-12-31T23:59:59.999Z", true, -1},
                             {"Year1900", "1900-01-01T00:00:00Z", true, -2208988800000},
                             {"LeapDay", "2024-02-29T12:00:00.000Z", true, 1709208000000},
                             {"MarchAfterLeapCentury", "2000-03-01T00:00:00Z", true, 951868800000},
                             {"MonthThirteenCarries", "2023-13-01T00:00:00Z", true, 1704067200000},
                             {"LastSecondOfYear9999", "9999-12-31T23:59:59.999Z", true, 253402300799999},
                             {"LeadingBlankSkipped", " 2023-11-14T22:13:20Z", true, 1700000000000},
                             {"DateOnly", "2023-11-14", false, 0},
                             {"NoSeconds", "2023-11-14T22:13", false, 0},
                             {"FiveDigitYear", "20231-11-14T22:13:20Z", false, 0},
                             {"SpaceForT", "2023-11-14 22:13:20Z", false, 0},
                             {"Empty", "", false, 0},
                             {"Words", "yesterday", false, 0},
                         }),
                         [](const testing::TestParamInfo<DateTextCase>& param) {
                           return std::string(param.param.name);
                         });

TEST(DateExtension, OtherMemberTypesStayObjects) {
  for (const char* text :
       {"{\"$date\":1.5}", "{\"$date\":18446744073709551615}", "{\"$date\":null}", "{\"$date\":[1]}", "{\"date\":1}"}) {
    const Value value = Read(text);
    EXPECT_TRUE(value.isObject()) << text;
    EXPECT_EQ(Compact(value), text);
  }
  EXPECT_EQ(Read("{\"$date\":-86400000}").asDate(), -86400000);
}

TEST(BinaryExtension, BytesWriteWithTheBlankAfterTheComma) {
  const Value binary(zkJson::Binary{{0x00, 0x01, 0x02}});
  EXPECT_EQ(Compact(binary), "{\"$binary\":\"AAEC\", \"$type\":\"00\"}");
}

struct BinaryTextCase {
  const char* name;
  std::string text;
  bool isBinary;
  std::vector<std::uint8_t> bytes;
};

void PrintTo(const BinaryTextCase& c, std::ostream* os) { *os << c.name; }

class BinaryText : public testing::TestWithParam<BinaryTextCase> {};

TEST_P(BinaryText, ReadsAsBinaryOrStaysObject) {
  const BinaryTextCase& c = GetParam();
  const Value value = Read(c.text);
  ASSERT_EQ(value.isBinary(), c.isBinary) << c.text;
  if (c.isBinary) {
    EXPECT_EQ(value.asBinary(), c.bytes);
  } else {
    EXPECT_TRUE(value.isObject());
  }
}

INSTANTIATE_TEST_SUITE_P(Table, BinaryText,
                         testing::ValuesIn(std::vector<BinaryTextCase>{
                             {"WithType", "{\"$binary\":\"AAEC\", \"$type\":\"00\"}", true, {0x00, 0x01, 0x02}},
                             {"TypeFirst", "{\"$type\":\"00\",\"$binary\":\"//4=\"}", true, {0xFF, 0xFE}},
                             {"Alone", "{\"$binary\":\"+w==\"}", true, {0xFB}},
                             {"Empty", "{\"$binary\":\"\"}", true, {}},
                             {"OtherSubtype", "{\"$binary\":\"AAEC\",\"$type\":\"04\"}", false, {}},
                             {"NumericType", "{\"$binary\":\"AAEC\",\"$type\":0}", false, {}},
                             {"ThirdMember", "{\"$binary\":\"AAEC\",\"$type\":\"00\",\"x\":1}", false, {}},
                             {"OtherSecondMember", "{\"$binary\":\"AAEC\",\"x\":1}", false, {}},
                             {"NotAString", "{\"$binary\":5}", false, {}},
                             {"TypeOnly", "{\"$type\":\"00\"}", false, {}},
                             {"MissingPadding", "{\"$binary\":\"AAE\"}", false, {}},
                             {"UnusedBitsSet", "{\"$binary\":\"AAF=\"}", false, {}},
                             {"PaddingInside", "{\"$binary\":\"AA==AAEC\"}", false, {}},
                             {"LineBreak", "{\"$binary\":\"AAEC\\nAAEC\"}", false, {}},
                             {"UrlAlphabet", "{\"$binary\":\"-_8=\"}", false, {}},
                         }),
                         [](const testing::TestParamInfo<BinaryTextCase>& param) {
                           return std::string(param.param.name);
                         });

TEST(Extensions, ApplyAtAnyDepthAndKeepComments) {
  Value root;
  ASSERT_TRUE(zkJson::Reader().parse(
      "[{\"at\": /* when */ {\"$date\":\"2023-11-14T22:13:20.000Z\"}, \"blob\":{\"$binary\":\"AAEC\"}}]", root));
  EXPECT_EQ(root[0]["at"].asDate(), 1700000000000);
  EXPECT_EQ(root[0]["at"].getComment(zkJson::commentBefore), "/* when */");
  EXPECT_EQ(root[0]["blob"].asBinary(), (std::vector<std::uint8_t>{0, 1, 2}));
  EXPECT_EQ(Compact(root), "[{\"at\":{\"$date\":1700000000000},\"blob\":{\"$binary\":\"AAEC\", \"$type\":\"00\"}}]");
}

}  // namespace
