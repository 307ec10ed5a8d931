#pragma once

// zkJson::Value: the JSON document model every record of the library is built from. Besides the
// eight ordinary JSON kinds it holds dates and binary blobs, which the writers put on the wire as
// {"$date":...} and {"$binary":..., "$type":"00"} objects and the reader turns back into values.

#include <qvcryptoservice/qvcs_export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zkJson {

// ValueType names the kind of a value. The numbers are type codes that stored data and the
// writers depend on; they never change.
enum ValueType {
  nullValue = 0,
  intValue = 1,
  uintValue = 2,
  realValue = 3,
  stringValue = 4,
  booleanValue = 5,
  arrayValue = 6,
  objectValue = 7,
  dateValue = 100,
  binaryValue = 110,
};

// CommentPlacement says where a comment sits relative to the value that carries it.
enum CommentPlacement {
  commentBefore = 0,
  commentAfterOnSameLine = 1,
  commentAfter = 2,
};

using ArrayIndex = unsigned int;

// Date is the payload of a date value: milliseconds since 1970-01-01T00:00:00Z (negative before).
struct Date {
  std::int64_t milliseconds = 0;
};

// Binary is the payload of a binary value. An absent payload (a value made as binaryValue) and an
// empty one are the same thing: both write as empty base64.
struct Binary {
  std::vector<std::uint8_t> bytes;
};

class ValueAccess;

// Value holds one JSON value of any ValueType. Copies are deep. Object members are kept, iterated
// and written in ascending byte order of their names (a later member of the same name replaces an
// earlier one). A reference to an element or member stays valid until its array grows or shrinks
// or a member is added to or removed from its object. Misuse throws std::runtime_error with a
// fixed text naming the operation.
class QVCS_EXPORT Value {
 public:
  using Members = std::vector<std::string>;

  // The constructors are implicit on purpose: records are built as value["name"] = 5.
  // Value(type) makes the empty value of a type: null, 0, 0u, 0.0, "", false, [], {}, the date
  // 0 or an empty binary.
  Value(ValueType type = nullValue);
  Value(std::nullptr_t);
  // Signed integers make intValue, unsigned ones uintValue, whatever their width.
  Value(int value);
  Value(unsigned int value);
  Value(long value);
  Value(unsigned long value);
  Value(long long value);
  Value(unsigned long long value);
  Value(double value);
  Value(bool value);
  // The string constructors copy the characters, embedded NULs included. When the buffer cannot
  // be allocated they throw std::runtime_error ("...duplicateStringValue(): Failed to allocate
  // string value buffer"); a null `value` makes an empty string.
  Value(const char* value);
  Value(const char* value, std::size_t length);
  Value(std::string_view value);
  Value(const std::string& value);
  Value(std::string&& value);
  Value(Date value);
  Value(Binary value);

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();
  void swap(Value& other) noexcept;

  // type returns the type code of the value.
  ValueType type() const;

  // Type tests. isInt and isUInt are true for integers (intValue or uintValue) that fit an int or
  // an unsigned int; isInt64 and isUInt64 likewise for 64 bits; isIntegral for any integer;
  // isDouble and isNumeric for integers and reals, the values asDouble reads without a throw.
  // isDate and isBinary are true only for the two extension types, never for their JSON form.
  bool isNull() const;
  bool isBool() const;
  bool isInt() const;
  bool isUInt() const;
  bool isInt64() const;
  bool isUInt64() const;
  bool isIntegral() const;
  bool isDouble() const;
  bool isNumeric() const;
  bool isString() const;
  bool isArray() const;
  bool isObject() const;
  bool isDate() const;
  bool isBinary() const;

  // Conversions. Numbers convert between each other when the target can hold the value (a real
  // is truncated towards zero); null reads as 0, 0.0, false or ""; a boolean as 0 or 1; a date as
  // its milliseconds. asBool is true for a non-zero number (false for NaN); asString gives
  // "true"/"false" for booleans and the writer's text for numbers. Anything else throws
  // std::runtime_error: "in zkJson::Value::<name>(): value is not convertible to <Kind>" or, for a
  // number the target cannot hold, "in zkJson::Value::<name>(): value is out of <Kind> range",
  // with <Kind> one of Int, UInt, Int64, UInt64, Double, Bool, String.
  int asInt() const;
  unsigned int asUInt() const;
  std::int64_t asInt64() const;
  std::uint64_t asUInt64() const;
  double asDouble() const;
  bool asBool() const;
  std::string asString() const;
  // asDate returns the milliseconds of a date value; asBinary the bytes of a binary value. Any
  // other type throws "in zkJson::Value::asDate(): requires dateValue" or "in
  // zkJson::Value::asBinary(): requires binaryValue".
  std::int64_t asDate() const;
  const std::vector<std::uint8_t>& asBinary() const;

  // size returns the number of elements of an array or members of an object, 0 for other types.
  ArrayIndex size() const;
  // empty is true for null and for an array or object without elements.
  bool empty() const;

  // Element access. The non-const forms turn a null value into an array and grow the array to
  // hold `index`; on any other type they throw "in zkJson::Value::operator[](ArrayIndex):
  // requires arrayValue". The const forms return a null value for a missing element or a null
  // value, and throw "...operator[](ArrayIndex)const: requires arrayValue" otherwise. A negative
  // int index throws "...operator[](int index): index cannot be negative" (or "... const: ...").
  Value& operator[](ArrayIndex index);
  Value& operator[](int index);
  const Value& operator[](ArrayIndex index) const;
  const Value& operator[](int index) const;
  // append adds `value` at the end, turning null into an array first; other types throw "in
  // zkJson::Value::append(): requires arrayValue". Returns the stored element.
  Value& append(const Value& value);
  Value& append(Value&& value);

  // Member access. The non-const forms turn a null value into an object and create a null member
  // when the name is missing; on other types they throw "in zkJson::Value::resolveReference():
  // requires objectValue". The const forms return a null value for a missing member or a null
  // value and throw "in zkJson::Value::operator[](char const*)const: requires objectValue" for
  // other types.
  Value& operator[](const char* key);
  Value& operator[](const std::string& key);
  const Value& operator[](const char* key) const;
  const Value& operator[](const std::string& key) const;
  // get returns a copy of the member `key`, or `defaultValue` when it is missing or this is not
  // an object.
  Value get(const std::string& key, const Value& defaultValue) const;
  // isMember is true when this is an object with a member `key`; false for every other type.
  bool isMember(const char* key) const;
  bool isMember(const std::string& key) const;
  // removeMember erases the member `key` of an object; false when there was none to erase.
  bool removeMember(const std::string& key);
  // getMemberNames returns the member names in ascending byte order; empty for null. Other types
  // throw "in zkJson::Value::getMemberNames(), value must be objectValue".
  Members getMemberNames() const;

  // setComment attaches a comment. It must start with "/" (as "//..." or "/*...*/" do), otherwise
  // it throws "in zkJson::Value::setComment(): Comments must start with /". The writers of this
  // library do not output comments; the reader collects them.
  void setComment(const char* comment, CommentPlacement placement);
  void setComment(const std::string& comment, CommentPlacement placement);
  bool hasComment(CommentPlacement placement) const;
  std::string getComment(CommentPlacement placement) const;

  // operator== compares type and payload, deeply; comments are not compared. Signed and unsigned
  // integers of the same numeric value are equal; a real never equals an integer; NaN equals
  // nothing.
  bool operator==(const Value& other) const;

 private:
  friend class ValueAccess;
  struct Member;
  // An object keeps its members in one array sorted by name, so that reading one costs a single
  // allocation and a look-up is a binary search.
  using ArrayStorage = std::vector<Value>;
  using ObjectStorage = std::vector<Member>;
  // The alternatives are in a fixed order that type() maps to the type codes.
  using Payload = std::variant<std::monostate, std::int64_t, std::uint64_t, double, std::string, bool, ArrayStorage,
                               ObjectStorage, Date, Binary>;
  using Comments = std::vector<std::string>;

  Payload payload_;
  std::unique_ptr<Comments> comments_;
};

// Member is one member of an object value: its name and its value.
struct Value::Member {
  std::string name;
  Value value;

  bool operator==(const Member& other) const = default;
};

}  // namespace zkJson
