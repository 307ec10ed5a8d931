#include "json/extensions.h"

#include "json/value_access.h"
#include "primitives/base64_codec.h"

#include <array>
#include <limits>
#include <string>
#include <vector>

namespace zkJson {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kMonthsPerYear = 12;

// One step of a scanf "%<width>d" conversion: white space skipped, then an optional sign and
// digits within `width` characters. False when no digit was read.
bool ScanInt(std::string_view text, std::size_t& pos, std::size_t width, std::int64_t& value) {
  while (pos < text.size() && (text[pos] == ' ' || (text[pos] >= '\t' && text[pos] <= '\r'))) {
    ++pos;
  }
  const std::size_t limit = pos + width < text.size() ? pos + width : text.size();
  bool negative = false;
  if (pos < limit && (text[pos] == '-' || text[pos] == '+')) {
    negative = text[pos] == '-';
    ++pos;
  }
  const std::size_t firstDigit = pos;
  std::int64_t magnitude = 0;
  while (pos < limit && text[pos] >= '0' && text[pos] <= '9') {
    magnitude = magnitude * 10 + (text[pos] - '0');
    ++pos;
  }
  if (pos == firstDigit) {
    return false;
  }
  value = negative ? -magnitude : magnitude;
  return true;
}

// Days from 1970-01-01 to the first day of `month` (1..12) of `year` in the proleptic
// Gregorian calendar.
std::int64_t DaysFromCivil(std::int64_t year, std::int64_t month) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t monthFromMarch = month > 2 ? month - 3 : month + 9;
  const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) { return a / b - ((a % b != 0 && (a < 0) != (b < 0)) ? 1 : 0); }

bool IsInteger(const Value& value) { return value.isInt64(); }

}  // namespace

bool ParseDateText(std::string_view text, std::int64_t& milliseconds) {
  // sscanf sees a C string: an embedded NUL ends the input.
  text = text.substr(0, text.find('\0'));
  struct Field {
    std::size_t width;
    char literalAfter;
  };
  constexpr std::array<Field, 7> kFields = {{{4, '-'}, {2, '-'}, {2, 'T'}, {2, ':'}, {2, ':'}, {2, '.'}, {3, 'Z'}}};
  std::array<std::int64_t, 7> values{};
  std::size_t pos = 0;
  std::size_t read = 0;
  for (const Field& field : kFields) {
    if (!ScanInt(text, pos, field.width, values[read])) {
      break;
    }
    ++read;
    if (pos >= text.size() || text[pos] != field.literalAfter) {
      break;
    }
    ++pos;
  }
  if (read < 6) {
    return false;
  }
  // Fields have at most four digits, so nothing below can overflow.
  const std::int64_t monthIndex = values[1] - 1;
  const std::int64_t year = values[0] + FloorDiv(monthIndex, kMonthsPerYear);
  const std::int64_t month = monthIndex - FloorDiv(monthIndex, kMonthsPerYear) * kMonthsPerYear + 1;
  const std::int64_t seconds =
      (DaysFromCivil(year, month) + values[2] - 1) * kSecondsPerDay + values[3] * 3600 + values[4] * 60 + values[5];
  milliseconds = seconds * 1000 + (read == 7 ? values[6] : 0);
  return true;
}

void ApplyExtensions(Value& value) {
  const ValueAccess::ObjectStorage* object = ValueAccess::object(value);
  if (object == nullptr || object->empty() || object->size() > 2) {
    return;
  }
  if (const Value* date = ValueAccess::findMember(*object, "$date")) {
    if (object->size() != 1) {
      return;
    }
    const Value& member = *date;
    std::int64_t milliseconds = 0;
    if (IsInteger(member)) {
      milliseconds = member.asInt64();
    } else if (!member.isString() || !ParseDateText(ValueAccess::get<std::string>(member), milliseconds)) {
      return;
    }
    ValueAccess::set<Date>(value, Date{milliseconds});
    return;
  }
  const Value* binary = ValueAccess::findMember(*object, "$binary");
  if (binary == nullptr || !binary->isString()) {
    return;
  }
  if (object->size() == 2) {
    const Value* type = ValueAccess::findMember(*object, "$type");
    // Only subtype 00 is turned into a binary value: the writer always writes 00, and any other
    // subtype would be lost.
    if (type == nullptr || !type->isString() || ValueAccess::get<std::string>(*type) != "00") {
      return;
    }
  }
  Binary bytes;
  if (!QVCryptoService::DecodeBase64(ValueAccess::get<std::string>(*binary), bytes.bytes,
                                     QVCryptoService::Base64Form::kCanonical)) {
    return;
  }
  ValueAccess::set<Binary>(value, std::move(bytes));
}

}  // namespace zkJson
