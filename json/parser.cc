// Document structure: white space and comments, arrays, objects and the root.

#include "json/parser.h"

#include "json/extensions.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace zkJson {

static_assert(Reader::kMaxDepth == 1000, "message::kTooDeep names the limit");

namespace {
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
}  // namespace

bool Parser::fail(const char* at, const char* message) {
  errorAt_ = at;
  errorMessage_ = message;
  return false;
}

void Parser::skipSpaceAndComments() {
  while (cur_ < end_) {
    const char c = *cur_;
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      ++cur_;
      continue;
    }
    if (strict_ || c != '/' || end_ - cur_ < 2) {
      return;
    }
    const char* start = cur_;
    if (cur_[1] == '*') {
      const std::string_view rest(cur_ + 2, static_cast<std::size_t>(end_ - cur_ - 2));
      const std::size_t close = rest.find("*/");
      if (close == std::string_view::npos) {
        return;
      }
      cur_ += 2 + close + 2;
    } else if (cur_[1] == '/') {
      cur_ = std::find_if(cur_ + 2, end_, [](char ch) { return ch == '\n' || ch == '\r'; });
    } else {
      return;
    }
    if (collect_) {
      noteComment(start);
    }
  }
}

// A comment that starts on the line where the last value ended belongs to that value; any other
// comment waits for the value that follows it. Each check looks for a line feed only in what lies
// after the previous comment's start (which it had checked up to), never again from the value's
// end, so that a run of comments on one line costs time in proportion to its length.
void Parser::noteComment(const char* start) {
  std::string text(start, cur_);
  if (lastValue_ != nullptr) {
    lineScanLength_ += static_cast<std::size_t>(start - lastValueEnd_);
    if (std::find(lastValueEnd_, start, '\n') == start) {
      ValueAccess::addComment(*lastValue_, std::move(text), commentAfterOnSameLine);
      lastValueEnd_ = start;
      return;
    }
    // The line has ended: no later comment can share it with the value.
    lastValue_ = nullptr;
  }
  if (!pendingComments_.empty()) {
    pendingComments_.push_back('\n');
  }
  pendingComments_.append(text);
}

void Parser::finishValue(Value& value) {
  lastValue_ = &value;
  lastValueEnd_ = cur_;
}

bool Parser::parseDocument(Value& root) {
  if (!strict_ && static_cast<std::size_t>(end_ - cur_) >= kByteOrderMark.size() &&
      std::memcmp(cur_, kByteOrderMark.data(), kByteOrderMark.size()) == 0) {
    cur_ += kByteOrderMark.size();
  }
  skipSpace();
  const char* rootStart = cur_;
  if (!parseValue(root, 0)) {
    return false;
  }
  skipSpace();
  if (cur_ != end_) {
    return fail(cur_, message::kTrailingContent);
  }
  if (strict_ && *rootStart != '[' && *rootStart != '{') {
    return fail(rootStart, message::kRootNotContainer);
  }
  if (!pendingComments_.empty()) {
    ValueAccess::addComment(root, std::move(pendingComments_), commentAfter);
    pendingComments_.clear();
  }
  return true;
}

bool Parser::parseValue(Value& out, std::size_t depth) {
  if (!pendingComments_.empty()) {
    ValueAccess::addComment(out, std::move(pendingComments_), commentBefore);
    pendingComments_.clear();
  }
  lastValue_ = nullptr;
  if (cur_ == end_) {
    return fail(cur_, message::kValueExpected);
  }
  bool ok = false;
  switch (*cur_) {
    case '[':
    case '{':
      if (depth >= Reader::kMaxDepth) {
        return fail(cur_, message::kTooDeep);
      }
      ok = *cur_ == '[' ? parseArray(out, depth + 1) : parseObject(out, depth + 1);
      break;
    case '"':
      ok = parseString(ValueAccess::makeString(out));
      break;
    case 't':
    case 'f':
    case 'n':
      ok = parseLiteral(out);
      break;
    default:
      ok = parseNumber(out);
  }
  if (ok) {
    finishValue(out);
  }
  return ok;
}

bool Parser::parseLiteral(Value& out) {
  const auto matches = [this](std::string_view word) {
    return static_cast<std::size_t>(end_ - cur_) >= word.size() && std::memcmp(cur_, word.data(), word.size()) == 0;
  };
  // Payloads are replaced rather than assigned so that comments read before the value stay.
  if (matches("true")) {
    ValueAccess::set<bool>(out, true);
    cur_ += 4;
  } else if (matches("false")) {
    ValueAccess::set<bool>(out, false);
    cur_ += 5;
  } else if (matches("null")) {
    ValueAccess::set<std::monostate>(out);
    cur_ += 4;
  } else {
    return fail(cur_, message::kValueExpected);
  }
  return true;
}

namespace {

// SortByNameKeepingLast orders members read out of order by name; of a repeated name only the
// one read last is kept, as assigning the member twice would leave it. Sorting once when the
// object closes, rather than inserting each name in its place as it comes, keeps a text written
// in reverse order from costing time in the square of its member count.
void SortByNameKeepingLast(ValueAccess::ObjectStorage& members) {
  // Names and positions are sorted rather than the members, which would each be moved many
  // times; the position orders a repeated name's members as they were read, the last read last.
  std::vector<std::pair<std::string_view, std::size_t>> order;
  order.reserve(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    order.emplace_back(members[i].name, i);
  }
  std::sort(order.begin(), order.end());
  ValueAccess::ObjectStorage sorted;
  sorted.reserve(members.size());
  for (std::size_t k = 0; k < order.size(); ++k) {
    if (k + 1 == order.size() || order[k + 1].first != order[k].first) {
      sorted.push_back(std::move(members[order[k].second]));
    }
  }
  members = std::move(sorted);
}

// NameBefore is `a < b` in byte order. Names in order mostly differ at their first byte, which is
// compared here before the general comparison is called.
bool NameBefore(const std::string& a, const std::string& b) {
  if (!a.empty() && !b.empty() && a[0] != b[0]) {
    return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]);
  }
  return a < b;
}

}  // namespace

// Comments left inside a container after its last element stay with the container.
bool Parser::parseArray(Value& out, std::size_t depth) {
  const std::size_t first = elements_.size();
  ++cur_;
  skipSpace();
  if (cur_ < end_ && *cur_ == ']') {
    ++cur_;
  } else {
    while (true) {
      if (!parseValue(elements_.push(), depth)) {
        return false;
      }
      skipSpace();
      if (cur_ < end_ && *cur_ == ',') {
        ++cur_;
        skipSpace();
        continue;
      }
      if (cur_ < end_ && *cur_ == ']') {
        ++cur_;
        break;
      }
      return fail(cur_, message::kMissingCommaOrBracket);
    }
  }
  elements_.popInto(first, ValueAccess::makeArray(out));
  if (!pendingComments_.empty()) {
    ValueAccess::addComment(out, std::move(pendingComments_), commentAfter);
    pendingComments_.clear();
  }
  return true;
}

bool Parser::parseObject(Value& out, std::size_t depth) {
  const std::size_t first = members_.size();
  // Whether each name came after the one before it, as in every text this library writes.
  bool ordered = true;
  const std::string* previousName = nullptr;
  ++cur_;
  skipSpace();
  if (cur_ < end_ && *cur_ == '}') {
    ++cur_;
  } else {
    while (true) {
      if (cur_ == end_ || *cur_ != '"') {
        return fail(cur_, message::kMissingBraceOrName);
      }
      ValueAccess::Member& member = members_.push();
      // A moved-from string's contents are unspecified; the name is read by appending.
      member.name.clear();
      if (!parseString(member.name)) {
        return false;
      }
      skipSpace();
      if (cur_ == end_ || *cur_ != ':') {
        return fail(cur_, message::kMissingColon);
      }
      ++cur_;
      skipSpace();
      if (!parseValue(member.value, depth)) {
        return false;
      }
      ordered = ordered && (previousName == nullptr || NameBefore(*previousName, member.name));
      previousName = &member.name;
      skipSpace();
      if (cur_ < end_ && *cur_ == ',') {
        ++cur_;
        skipSpace();
        continue;
      }
      if (cur_ < end_ && *cur_ == '}') {
        ++cur_;
        break;
      }
      return fail(cur_, message::kMissingCommaOrBrace);
    }
  }
  ValueAccess::ObjectStorage& members = ValueAccess::makeObject(out);
  members_.popInto(first, members);
  if (!ordered) {
    SortByNameKeepingLast(members);
  }
  if (!pendingComments_.empty()) {
    ValueAccess::addComment(out, std::move(pendingComments_), commentAfter);
    pendingComments_.clear();
  }
  ApplyExtensions(out);
  return true;
}

}  // namespace zkJson
