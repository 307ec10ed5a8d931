#include "encryption/compact_cipher_record.h"

#include "primitives/base64_codec.h"

#include <array>
#include <optional>
#include <string>

namespace QVCryptoService {
namespace {

// The members a cipher record may hold, in the byte order of their names.
enum Member : std::uint8_t { kCd, kCn, kDn, kIt, kIv, kKn, kKv, kSa, kV, kMemberCount };
constexpr std::array<std::string_view, kMemberCount> kNames = {"cd", "cn", "dn", "it", "iv", "kn", "kv", "sa", "v"};
constexpr std::array<bool, kMemberCount> kIsInteger = {false, false, false, true, false, false, true, false, true};
constexpr std::array<bool, kMemberCount> kIsBase64 = {true, false, false, false, true, false, false, true, false};

struct Field {
  bool present = false;
  std::string_view text;
  std::int32_t number = 0;
};

class CompactScanner {
 public:
  explicit CompactScanner(std::string_view text) : text_(text) {}

  bool take(char expected) {
    if (pos_ < text_.size() && text_[pos_] == expected) {
      ++pos_;
      return true;
    }
    return false;
  }

  // A string without escapes or control characters, and only printable ASCII.
  std::optional<std::string_view> string() {
    if (!take('"')) {
      return std::nullopt;
    }
    const std::size_t start = pos_;
    while (pos_ < text_.size()) {
      const auto byte = static_cast<std::uint8_t>(text_[pos_]);
      if (byte == '"') {
        return text_.substr(start, pos_++ - start);
      }
      if (byte < 0x20 || byte > 0x7E || byte == '\\') {
        return std::nullopt;
      }
      ++pos_;
    }
    return std::nullopt;
  }

  // The text up to the next quote, unchecked: for base64 fields, whose decoder refuses every
  // character outside its alphabet, so that a field it takes is printable ASCII without escapes.
  std::optional<std::string_view> base64String() {
    if (!take('"')) {
      return std::nullopt;
    }
    const std::size_t close = text_.find('"', pos_);
    if (close == std::string_view::npos) {
      return std::nullopt;
    }
    const std::string_view content = text_.substr(pos_, close - pos_);
    pos_ = close + 1;
    return content;
  }

  // One to nine digits, no sign, no leading zero: always an int32.
  std::optional<std::int32_t> integer() {
    const std::size_t start = pos_;
    std::int32_t value = 0;
    while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9' && pos_ - start < 9) {
      value = value * 10 + (text_[pos_] - '0');
      ++pos_;
    }
    const std::size_t digits = pos_ - start;
    const bool nextIsDigit = pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9';
    if (digits == 0 || nextIsDigit || (digits > 1 && text_[start] == '0')) {
      return std::nullopt;
    }
    return value;
  }

  bool atEnd() const { return pos_ == text_.size() || (pos_ + 1 == text_.size() && text_[pos_] == '\n'); }

 private:
  std::string_view text_;
  std::size_t pos_ = 0;
};

bool ScanMembers(std::string_view json, std::array<Field, kMemberCount>& fields) {
  CompactScanner scanner(json);
  if (!scanner.take('{')) {
    return false;
  }
  int previous = -1;
  do {
    const std::optional<std::string_view> name = scanner.string();
    if (!name || !scanner.take(':')) {
      return false;
    }
    int member = previous + 1;
    while (member < kMemberCount && kNames[static_cast<std::size_t>(member)] != *name) {
      ++member;
    }
    if (member == kMemberCount) {
      return false;
    }
    Field& field = fields[static_cast<std::size_t>(member)];
    field.present = true;
    if (kIsInteger[static_cast<std::size_t>(member)]) {
      const std::optional<std::int32_t> number = scanner.integer();
      if (!number) {
        return false;
      }
      field.number = *number;
    } else {
      const std::optional<std::string_view> text =
          kIsBase64[static_cast<std::size_t>(member)] ? scanner.base64String() : scanner.string();
      if (!text) {
        return false;
      }
      field.text = *text;
    }
    previous = member;
  } while (scanner.take(','));
  return scanner.take('}') && scanner.atEnd();
}

bool DecodeField(const Field& field, std::vector<std::uint8_t>& bytes) {
  return DecodeBase64(field.text, bytes, Base64Form::kWellFormed);
}

}  // namespace

bool ReadCompactCipherRecord(std::string_view json, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) {
  std::array<Field, kMemberCount> fields{};
  if (!ScanMembers(json, fields) || !fields[kV].present || fields[kV].number == 0 || !fields[kCn].present ||
      !fields[kIv].present || !fields[kCd].present) {
    return false;
  }
  std::vector<std::uint8_t> iv;
  std::vector<std::uint8_t> salt;
  std::vector<std::uint8_t> bytes;
  if (!DecodeField(fields[kIv], iv) || (fields[kSa].present && !DecodeField(fields[kSa], salt)) ||
      !DecodeField(fields[kCd], bytes)) {
    return false;
  }
  meta.version = fields[kV].number;
  meta.cipherName.assign(fields[kCn].text);
  meta.iv = std::move(iv);
  if (fields[kKn].present) {
    meta.keyName.assign(fields[kKn].text);
  }
  if (fields[kKv].present) {
    meta.keyVersion = fields[kKv].number;
  }
  if (fields[kSa].present) {
    meta.salt = std::move(salt);
  }
  if (fields[kIt].present) {
    meta.iterations = fields[kIt].number;
  }
  if (fields[kDn].present) {
    meta.digestName.assign(fields[kDn].text);
  }
  cipherText = std::move(bytes);
  return true;
}

}  // namespace QVCryptoService
