#pragma once

// Direct access to a Value's storage for the value itself, the reader, the writers and the
// extensions, which must build and walk containers without the checks and copies of the public
// interface.

#include <qvcryptoservice/zkjson_value.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zkJson {

// DuplicateString copies `length` bytes into a string; when that cannot be allocated it throws
// std::runtime_error "in zkJson::Value::duplicateStringValue(): Failed to allocate string value
// buffer", so that callers that catch runtime errors around record parsing catch this one too.
std::string DuplicateString(const char* data, std::size_t length);

class ValueAccess {
 public:
  using ArrayStorage = Value::ArrayStorage;
  using ObjectStorage = Value::ObjectStorage;
  using Member = Value::Member;
  using Payload = Value::Payload;

  static constexpr std::size_t kCommentSlots = 3;

  // emptyPayload is the payload of Value(type); unknown codes throw std::runtime_error.
  static Payload emptyPayload(ValueType type);
  // clonePayload deep-copies the payload `from`.
  static Payload clonePayload(const Payload& from);

  // get returns the payload as a T; the caller has checked the type. (std::get would bring in
  // std::bad_variant_access, whose type information would leave the library as an export.)
  template <typename T>
  static const T& get(const Value& value) {
    return *std::get_if<T>(&value.payload_);
  }

  // The containers of an array or object value; null for any other type.
  static const ArrayStorage* array(const Value& value);
  static const ObjectStorage* object(const Value& value);
  static ObjectStorage* mutableObject(Value& value);

  // firstNotBefore returns the first member whose name is not below `name` in byte order (where a
  // member of that name is, or would be inserted); findMember the member named `name`, or null.
  static ObjectStorage::iterator firstNotBefore(ObjectStorage& members, std::string_view name);
  static const Value* findMember(const ObjectStorage& members, std::string_view name);

  // replacePayload puts in a new payload, keeping the value's comments. The new payload may come
  // from inside the old one.
  static void replacePayload(Value& value, Payload&& payload);
  // set replaces the payload by a T made from `args`, keeping the comments. Unlike
  // replacePayload it needs no intermediate payload, and `args` must not live inside the value.
  template <typename T, typename... Args>
  static T& set(Value& value, Args&&... args) noexcept {
    static_assert(std::is_nothrow_constructible_v<T, Args...>, "the old payload is gone before the new one is made");
    std::destroy_at(&value.payload_);
    std::construct_at(&value.payload_, std::in_place_type<T>, std::forward<Args>(args)...);
    return *std::get_if<T>(&value.payload_);
  }
  // makeArray and makeString replace the payload by an empty container or string
  // and return it.
  static ArrayStorage& makeArray(Value& value);
  static ObjectStorage& makeObject(Value& value);
  static std::string& makeString(Value& value);

  // addComment appends `text` to the comment at `placement`, a line feed between two comments.
  static void addComment(Value& value, std::string&& text, CommentPlacement placement);
};

}  // namespace zkJson
