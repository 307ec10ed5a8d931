// Storage of zkJson::Value: building, copying and replacing payloads, and the accessors that the
// reader and writers use.

#include "json/value_access.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace zkJson {
namespace {
using Payload = ValueAccess::Payload;

constexpr const char* kAllocationFailure =
    "in zkJson::Value::duplicateStringValue(): Failed to allocate string value buffer";

// Payloads are built whole and moved in by ReplacePayload, never assigned, emplaced or swapped:
// those members of std::variant go through std::get, and with it std::bad_variant_access, whose
// type information would then be exported from the library.
static_assert(std::is_nothrow_move_constructible_v<Payload>);

// `source` may live inside `target`: it is moved out before `target` is destroyed.
void ReplacePayload(Payload& target, Payload&& source) noexcept {
  Payload moved(std::move(source));
  std::destroy_at(&target);
  std::construct_at(&target, std::move(moved));
}

}  // namespace

ValueAccess::Payload ValueAccess::emptyPayload(ValueType type) {
  switch (type) {
    case nullValue:
      return Payload();
    case intValue:
      return Payload(std::in_place_type<std::int64_t>, 0);
    case uintValue:
      return Payload(std::in_place_type<std::uint64_t>, 0U);
    case realValue:
      return Payload(std::in_place_type<double>, 0.0);
    case stringValue:
      return Payload(std::in_place_type<std::string>);
    case booleanValue:
      return Payload(std::in_place_type<bool>, false);
    case arrayValue:
      return Payload(std::in_place_type<ArrayStorage>);
    case objectValue:
      return Payload(std::in_place_type<ObjectStorage>);
    case dateValue:
      return Payload(std::in_place_type<Date>);
    case binaryValue:
      return Payload(std::in_place_type<Binary>);
  }
  throw std::runtime_error("in zkJson::Value::Value(ValueType): unknown type code");
}

ValueAccess::Payload ValueAccess::clonePayload(const Payload& from) {
  switch (from.index()) {
    case 1:
      return Payload(std::in_place_index<1>, *std::get_if<1>(&from));
    case 2:
      return Payload(std::in_place_index<2>, *std::get_if<2>(&from));
    case 3:
      return Payload(std::in_place_index<3>, *std::get_if<3>(&from));
    case 4:
      return Payload(std::in_place_index<4>,
                     DuplicateString(std::get_if<4>(&from)->data(), std::get_if<4>(&from)->size()));
    case 5:
      return Payload(std::in_place_index<5>, *std::get_if<5>(&from));
    case 6:
      return Payload(std::in_place_index<6>, *std::get_if<6>(&from));
    case 7:
      return Payload(std::in_place_index<7>, *std::get_if<7>(&from));
    case 8:
      return Payload(std::in_place_index<8>, *std::get_if<8>(&from));
    case 9:
      return Payload(std::in_place_index<9>, *std::get_if<9>(&from));
    default:
      return Payload();
  }
}

// Allocation failures surface as the library's own error, so that callers that swallow
// runtime errors around record parsing do not see a different exception type for them.
std::string DuplicateString(const char* data, std::size_t length) {
  // Checked here as well: the string constructor would form data + length before refusing it.
  if (length > std::string().max_size()) {
    throw std::runtime_error(kAllocationFailure);
  }
  try {
    return std::string(data, length);
  } catch (const std::bad_alloc&) {
    throw std::runtime_error(kAllocationFailure);
  }
}

const ValueAccess::ArrayStorage* ValueAccess::array(const Value& value) {
  return std::get_if<ArrayStorage>(&value.payload_);
}

const ValueAccess::ObjectStorage* ValueAccess::object(const Value& value) {
  return std::get_if<ObjectStorage>(&value.payload_);
}

ValueAccess::ObjectStorage* ValueAccess::mutableObject(Value& value) {
  return std::get_if<ObjectStorage>(&value.payload_);
}

namespace {
bool NameBefore(const ValueAccess::Member& member, std::string_view name) {
  return std::string_view(member.name) < name;
}
}  // namespace

ValueAccess::ObjectStorage::iterator ValueAccess::firstNotBefore(ObjectStorage& members, std::string_view name) {
  return std::lower_bound(members.begin(), members.end(), name, NameBefore);
}

const Value* ValueAccess::findMember(const ObjectStorage& members, std::string_view name) {
  const auto it = std::lower_bound(members.begin(), members.end(), name, NameBefore);
  return it != members.end() && it->name == name ? &it->value : nullptr;
}

ValueAccess::ArrayStorage& ValueAccess::makeArray(Value& value) { return set<ArrayStorage>(value); }

ValueAccess::ObjectStorage& ValueAccess::makeObject(Value& value) { return set<ObjectStorage>(value); }

void ValueAccess::replacePayload(Value& value, Payload&& payload) {
  ReplacePayload(value.payload_, std::move(payload));
}

std::string& ValueAccess::makeString(Value& value) { return set<std::string>(value); }

void ValueAccess::addComment(Value& value, std::string&& text, CommentPlacement placement) {
  if (!value.comments_) {
    value.comments_ = std::make_unique<Value::Comments>(kCommentSlots);
  }
  std::string& slot = (*value.comments_)[static_cast<std::size_t>(placement)];
  if (slot.empty()) {
    slot = std::move(text);
  } else {
    slot.append("\n").append(text);
  }
}

}  // namespace zkJson
