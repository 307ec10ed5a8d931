// Conversions of zkJson::Value to its payload types. Numbers convert into each other when the
// target can hold them; everything else is refused with an exception naming the conversion.

#include <qvcryptoservice/zkjson_value.h>

#include "json/number_text.h"
#include "json/value_access.h"

#include <climits>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace zkJson {
namespace {

// 2^63 and 2^64 as doubles: the first real that no longer fits a signed or an unsigned 64-bit integer.
constexpr double kTwoPow63 = 9223372036854775808.0;
constexpr double kTwoPow64 = 18446744073709551616.0;

[[noreturn]] void NotConvertible(const char* function, const char* kind) {
  throw std::runtime_error(std::string("in zkJson::Value::") + function + "(): value is not convertible to " + kind);
}

[[noreturn]] void OutOfRange(const char* function, const char* kind) {
  throw std::runtime_error(std::string("in zkJson::Value::") + function + "(): value is out of " + kind + " range");
}

// The numeric reading of a value that asInt... accept: null, booleans, integers, reals, dates.
struct Number {
  enum class Kind { kSigned, kUnsigned, kReal } kind = Kind::kSigned;
  std::int64_t i = 0;
  std::uint64_t u = 0;
  double d = 0;
};

Number NumberOf(const Value& value, const char* function, const char* kind) {
  Number number;
  switch (value.type()) {
    case nullValue:
      break;
    case intValue:
      number.i = ValueAccess::get<std::int64_t>(value);
      break;
    case uintValue:
      number.kind = Number::Kind::kUnsigned;
      number.u = ValueAccess::get<std::uint64_t>(value);
      break;
    case realValue:
      number.kind = Number::Kind::kReal;
      number.d = ValueAccess::get<double>(value);
      break;
    case booleanValue:
      number.i = ValueAccess::get<bool>(value) ? 1 : 0;
      break;
    case dateValue:
      number.i = ValueAccess::get<Date>(value).milliseconds;
      break;
    default:
      NotConvertible(function, kind);
  }
  return number;
}

std::int64_t ToInt64(const Value& value, const char* function, const char* kind) {
  const Number n = NumberOf(value, function, kind);
  switch (n.kind) {
    case Number::Kind::kSigned:
      return n.i;
    case Number::Kind::kUnsigned:
      if (n.u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        OutOfRange(function, kind);
      }
      return static_cast<std::int64_t>(n.u);
    case Number::Kind::kReal:
      break;
  }
  // Written so that NaN fails the test too.
  if (!(n.d >= -kTwoPow63 && n.d < kTwoPow63)) {
    OutOfRange(function, kind);
  }
  return static_cast<std::int64_t>(n.d);
}

std::uint64_t ToUInt64(const Value& value, const char* function, const char* kind) {
  const Number n = NumberOf(value, function, kind);
  switch (n.kind) {
    case Number::Kind::kSigned:
      if (n.i < 0) {
        OutOfRange(function, kind);
      }
      return static_cast<std::uint64_t>(n.i);
    case Number::Kind::kUnsigned:
      return n.u;
    case Number::Kind::kReal:
      break;
  }
  if (!(n.d > -1.0 && n.d < kTwoPow64)) {
    OutOfRange(function, kind);
  }
  return static_cast<std::uint64_t>(n.d);
}

}  // namespace

int Value::asInt() const {
  const std::int64_t value = ToInt64(*this, "asInt", "Int");
  if (value < INT_MIN || value > INT_MAX) {
    OutOfRange("asInt", "Int");
  }
  return static_cast<int>(value);
}

unsigned int Value::asUInt() const {
  const std::uint64_t value = ToUInt64(*this, "asUInt", "UInt");
  if (value > UINT_MAX) {
    OutOfRange("asUInt", "UInt");
  }
  return static_cast<unsigned int>(value);
}

std::int64_t Value::asInt64() const { return ToInt64(*this, "asInt64", "Int64"); }

std::uint64_t Value::asUInt64() const { return ToUInt64(*this, "asUInt64", "UInt64"); }

double Value::asDouble() const {
  const Number n = NumberOf(*this, "asDouble", "Double");
  switch (n.kind) {
    case Number::Kind::kSigned:
      return static_cast<double>(n.i);
    case Number::Kind::kUnsigned:
      return static_cast<double>(n.u);
    case Number::Kind::kReal:
      break;
  }
  return n.d;
}

bool Value::asBool() const {
  switch (type()) {
    case nullValue:
      return false;
    case booleanValue:
      return ValueAccess::get<bool>(*this);
    case intValue:
      return ValueAccess::get<std::int64_t>(*this) != 0;
    case uintValue:
      return ValueAccess::get<std::uint64_t>(*this) != 0;
    case realValue: {
      const double d = ValueAccess::get<double>(*this);
      return !std::isnan(d) && d != 0.0;
    }
    default:
      NotConvertible("asBool", "Bool");
  }
}

std::string Value::asString() const {
  std::string text;
  switch (type()) {
    case nullValue:
      break;
    case stringValue:
      text = ValueAccess::get<std::string>(*this);
      break;
    case booleanValue:
      text = ValueAccess::get<bool>(*this) ? "true" : "false";
      break;
    case intValue:
      AppendInteger(text, ValueAccess::get<std::int64_t>(*this));
      break;
    case uintValue:
      AppendUnsigned(text, ValueAccess::get<std::uint64_t>(*this));
      break;
    case realValue:
      AppendReal(text, ValueAccess::get<double>(*this));
      break;
    default:
      NotConvertible("asString", "String");
  }
  return text;
}

std::int64_t Value::asDate() const {
  if (!isDate()) {
    throw std::runtime_error("in zkJson::Value::asDate(): requires dateValue");
  }
  return ValueAccess::get<Date>(*this).milliseconds;
}

const std::vector<std::uint8_t>& Value::asBinary() const {
  if (!isBinary()) {
    throw std::runtime_error("in zkJson::Value::asBinary(): requires binaryValue");
  }
  return ValueAccess::get<Binary>(*this).bytes;
}

}  // namespace zkJson
