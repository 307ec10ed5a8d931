// Construction, copying, type tests, element and member access, comments and comparison of
// zkJson::Value. Conversions are in value_convert.cc.

#include <qvcryptoservice/zkjson_value.h>

#include "json/value_access.h"

#include <array>
#include <climits>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace zkJson {
namespace {

// Type codes in the order of the payload alternatives.
constexpr std::array<ValueType, 10> kTypeOfIndex = {nullValue,    intValue,   uintValue,   realValue, stringValue,
                                                    booleanValue, arrayValue, objectValue, dateValue, binaryValue};

const Value& NullValue() {
  static const Value kNull;
  return kNull;
}

[[noreturn]] void Fail(const char* message) { throw std::runtime_error(message); }

using Payload = ValueAccess::Payload;
using ArrayStorage = ValueAccess::ArrayStorage;
using ObjectStorage = ValueAccess::ObjectStorage;

}  // namespace

// Null, the default, is the payload's own initial state: the common case costs no call.
Value::Value(ValueType type) {
  if (type != nullValue) {
    ValueAccess::replacePayload(*this, ValueAccess::emptyPayload(type));
  }
}

Value::Value(std::nullptr_t) {}
Value::Value(int value) : payload_(std::int64_t{value}) {}
Value::Value(unsigned int value) : payload_(std::uint64_t{value}) {}
Value::Value(long value) : payload_(static_cast<std::int64_t>(value)) {}
Value::Value(unsigned long value) : payload_(static_cast<std::uint64_t>(value)) {}
Value::Value(long long value) : payload_(static_cast<std::int64_t>(value)) {}
Value::Value(unsigned long long value) : payload_(static_cast<std::uint64_t>(value)) {}
Value::Value(double value) : payload_(value) {}
Value::Value(bool value) : payload_(value) {}
Value::Value(const char* value)
    : payload_(value == nullptr ? std::string() : DuplicateString(value, std::strlen(value))) {}
Value::Value(const char* value, std::size_t length)
    : payload_(value == nullptr ? std::string() : DuplicateString(value, length)) {}
Value::Value(std::string_view value) : payload_(DuplicateString(value.data(), value.size())) {}
Value::Value(const std::string& value) : payload_(DuplicateString(value.data(), value.size())) {}
Value::Value(std::string&& value) : payload_(std::move(value)) {}
Value::Value(Date value) : payload_(value) {}
Value::Value(Binary value) : payload_(std::move(value)) {}

Value::Value(const Value& other) : payload_(ValueAccess::clonePayload(other.payload_)) {
  if (other.comments_) {
    comments_ = std::make_unique<Comments>(*other.comments_);
  }
}

// A moved-from value is null rather than an array or object without its container.
Value::Value(Value&& other) noexcept : payload_(std::move(other.payload_)), comments_(std::move(other.comments_)) {
  ValueAccess::set<std::monostate>(other);
}

// Both assignments build the new state first: the source may live inside this value
// (v = v["member"]), and replacing the payload first would destroy it.
Value& Value::operator=(const Value& other) {
  Value copy(other);
  swap(copy);
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  Value moved(std::move(other));
  swap(moved);
  return *this;
}

Value::~Value() = default;

void Value::swap(Value& other) noexcept {
  Payload mine(std::move(payload_));
  ValueAccess::replacePayload(*this, std::move(other.payload_));
  ValueAccess::replacePayload(other, std::move(mine));
  comments_.swap(other.comments_);
}

ValueType Value::type() const { return kTypeOfIndex[payload_.index()]; }

bool Value::isNull() const { return payload_.index() == 0; }
bool Value::isBool() const { return payload_.index() == 5; }
bool Value::isString() const { return payload_.index() == 4; }
bool Value::isArray() const { return payload_.index() == 6; }
bool Value::isObject() const { return payload_.index() == 7; }
bool Value::isDate() const { return payload_.index() == 8; }
bool Value::isBinary() const { return payload_.index() == 9; }
bool Value::isIntegral() const { return payload_.index() == 1 || payload_.index() == 2; }
bool Value::isDouble() const { return isIntegral() || payload_.index() == 3; }
bool Value::isNumeric() const { return isDouble(); }

bool Value::isInt() const {
  if (const auto* i = std::get_if<std::int64_t>(&payload_)) {
    return *i >= INT_MIN && *i <= INT_MAX;
  }
  if (const auto* u = std::get_if<std::uint64_t>(&payload_)) {
    return *u <= static_cast<std::uint64_t>(INT_MAX);
  }
  return false;
}

bool Value::isUInt() const {
  if (const auto* i = std::get_if<std::int64_t>(&payload_)) {
    return *i >= 0 && *i <= static_cast<std::int64_t>(UINT_MAX);
  }
  if (const auto* u = std::get_if<std::uint64_t>(&payload_)) {
    return *u <= UINT_MAX;
  }
  return false;
}

bool Value::isInt64() const {
  if (const auto* u = std::get_if<std::uint64_t>(&payload_)) {
    return *u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  }
  return payload_.index() == 1;
}

bool Value::isUInt64() const {
  if (const auto* i = std::get_if<std::int64_t>(&payload_)) {
    return *i >= 0;
  }
  return payload_.index() == 2;
}

ArrayIndex Value::size() const {
  std::size_t count = 0;
  if (const auto* array = ValueAccess::array(*this)) {
    count = array->size();
  } else if (const auto* object = ValueAccess::object(*this)) {
    count = object->size();
  }
  return count > std::numeric_limits<ArrayIndex>::max() ? std::numeric_limits<ArrayIndex>::max()
                                                        : static_cast<ArrayIndex>(count);
}

bool Value::empty() const { return isNull() || ((isArray() || isObject()) && size() == 0); }

Value& Value::operator[](ArrayIndex index) {
  if (isNull()) {
    ValueAccess::makeArray(*this);
  }
  auto* array = std::get_if<ArrayStorage>(&payload_);
  if (array == nullptr) {
    Fail("in zkJson::Value::operator[](ArrayIndex): requires arrayValue");
  }
  if (index >= array->size()) {
    array->resize(static_cast<std::size_t>(index) + 1);
  }
  return (*array)[index];
}

Value& Value::operator[](int index) {
  if (index < 0) {
    Fail("in zkJson::Value::operator[](int index): index cannot be negative");
  }
  return (*this)[static_cast<ArrayIndex>(index)];
}

const Value& Value::operator[](ArrayIndex index) const {
  if (isNull()) {
    return NullValue();
  }
  const auto* array = ValueAccess::array(*this);
  if (array == nullptr) {
    Fail("in zkJson::Value::operator[](ArrayIndex)const: requires arrayValue");
  }
  return index < array->size() ? (*array)[index] : NullValue();
}

const Value& Value::operator[](int index) const {
  if (index < 0) {
    Fail("in zkJson::Value::operator[](int index) const: index cannot be negative");
  }
  return (*this)[static_cast<ArrayIndex>(index)];
}

Value& Value::append(const Value& value) { return append(Value(value)); }

Value& Value::append(Value&& value) {
  if (isNull()) {
    ValueAccess::makeArray(*this);
  }
  auto* array = std::get_if<ArrayStorage>(&payload_);
  if (array == nullptr) {
    Fail("in zkJson::Value::append(): requires arrayValue");
  }
  // Indices must stay addressable through ArrayIndex.
  if (array->size() >= std::numeric_limits<ArrayIndex>::max()) {
    Fail("in zkJson::Value::append(): array is full");
  }
  return array->emplace_back(std::move(value));
}

namespace {

Value& ResolveReference(Value& value, std::string_view key) {
  if (value.isNull()) {
    ValueAccess::makeObject(value);
  }
  ValueAccess::ObjectStorage* found = ValueAccess::mutableObject(value);
  if (found == nullptr) {
    Fail("in zkJson::Value::resolveReference(): requires objectValue");
  }
  ValueAccess::ObjectStorage& object = *found;
  const auto it = ValueAccess::firstNotBefore(object, key);
  if (it != object.end() && it->name == key) {
    return it->value;
  }
  // Names built in ascending order, the usual case, go to the end without moving any member.
  return object.insert(it, ValueAccess::Member{DuplicateString(key.data(), key.size()), Value()})->value;
}

const Value* FindMember(const Value& value, std::string_view key) {
  const auto* object = ValueAccess::object(value);
  return object == nullptr ? nullptr : ValueAccess::findMember(*object, key);
}

const Value& ConstMember(const Value& value, std::string_view key) {
  if (value.isNull()) {
    return NullValue();
  }
  if (!value.isObject()) {
    Fail("in zkJson::Value::operator[](char const*)const: requires objectValue");
  }
  const Value* member = FindMember(value, key);
  return member == nullptr ? NullValue() : *member;
}

std::string_view KeyOf(const char* key) { return key == nullptr ? std::string_view() : std::string_view(key); }

}  // namespace

Value& Value::operator[](const char* key) { return ResolveReference(*this, KeyOf(key)); }
Value& Value::operator[](const std::string& key) { return ResolveReference(*this, key); }
const Value& Value::operator[](const char* key) const { return ConstMember(*this, KeyOf(key)); }
const Value& Value::operator[](const std::string& key) const { return ConstMember(*this, key); }

Value Value::get(const std::string& key, const Value& defaultValue) const {
  const Value* member = FindMember(*this, key);
  return member == nullptr ? defaultValue : *member;
}

bool Value::isMember(const char* key) const { return FindMember(*this, KeyOf(key)) != nullptr; }
bool Value::isMember(const std::string& key) const { return FindMember(*this, key) != nullptr; }

bool Value::removeMember(const std::string& key) {
  ObjectStorage* object = ValueAccess::mutableObject(*this);
  if (object == nullptr) {
    return false;
  }
  const auto it = ValueAccess::firstNotBefore(*object, key);
  if (it == object->end() || it->name != key) {
    return false;
  }
  object->erase(it);
  return true;
}

Value::Members Value::getMemberNames() const {
  Members names;
  if (isNull()) {
    return names;
  }
  const auto* object = ValueAccess::object(*this);
  if (object == nullptr) {
    Fail("in zkJson::Value::getMemberNames(), value must be objectValue");
  }
  names.reserve(object->size());
  for (const auto& member : *object) {
    names.push_back(member.name);
  }
  return names;
}

void Value::setComment(const char* comment, CommentPlacement placement) {
  if (comment == nullptr || comment[0] != '/') {
    Fail("in zkJson::Value::setComment(): Comments must start with /");
  }
  setComment(std::string(comment), placement);
}

void Value::setComment(const std::string& comment, CommentPlacement placement) {
  if (comment.empty() || comment[0] != '/') {
    Fail("in zkJson::Value::setComment(): Comments must start with /");
  }
  const auto slot = static_cast<std::size_t>(placement);
  if (slot >= ValueAccess::kCommentSlots) {
    Fail("in zkJson::Value::setComment(): unknown comment placement");
  }
  if (!comments_) {
    comments_ = std::make_unique<Comments>(ValueAccess::kCommentSlots);
  }
  (*comments_)[slot] = comment;
}

bool Value::hasComment(CommentPlacement placement) const {
  const auto slot = static_cast<std::size_t>(placement);
  return comments_ && slot < ValueAccess::kCommentSlots && !(*comments_)[slot].empty();
}

std::string Value::getComment(CommentPlacement placement) const {
  return hasComment(placement) ? (*comments_)[static_cast<std::size_t>(placement)] : std::string();
}

bool Value::operator==(const Value& other) const {
  const Payload& a = payload_;
  const Payload& b = other.payload_;
  if (a.index() != b.index()) {
    // Signed and unsigned integers meet only in the non-negative range.
    const auto* signedSide = std::get_if<std::int64_t>(&a) != nullptr ? &a : &b;
    const auto* unsignedSide = signedSide == &a ? &b : &a;
    const auto* i = std::get_if<std::int64_t>(signedSide);
    const auto* u = std::get_if<std::uint64_t>(unsignedSide);
    return i != nullptr && u != nullptr && *i >= 0 && static_cast<std::uint64_t>(*i) == *u;
  }
  switch (a.index()) {
    case 0:
      return true;
    case 1:
      return *std::get_if<1>(&a) == *std::get_if<1>(&b);
    case 2:
      return *std::get_if<2>(&a) == *std::get_if<2>(&b);
    case 3:
      return *std::get_if<3>(&a) == *std::get_if<3>(&b);
    case 4:
      return *std::get_if<4>(&a) == *std::get_if<4>(&b);
    case 5:
      return *std::get_if<5>(&a) == *std::get_if<5>(&b);
    case 6:
      return *std::get_if<6>(&a) == *std::get_if<6>(&b);
    case 7:
      return *std::get_if<7>(&a) == *std::get_if<7>(&b);
    case 8:
      return std::get_if<8>(&a)->milliseconds == std::get_if<8>(&b)->milliseconds;
    default:
      return std::get_if<9>(&a)->bytes == std::get_if<9>(&b)->bytes;
  }
}

}  // namespace zkJson
