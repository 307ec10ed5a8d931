#include "encryption/cipher_text_writer.h"

#include "primitives/base64_codec.h"

#include <algorithm>
#include <utility>

namespace QVCryptoService {
namespace {

// Text is handed on in pieces of about this size.
constexpr std::size_t kEmitSize = 256 * 1024;

// AppendGroups appends the base64 of `carry` followed by `data`, whole groups of three bytes only,
// and keeps the one or two bytes left over in `carry`.
void AppendGroups(std::string& out, std::array<std::uint8_t, 2>& carry, std::size_t& carried, const std::uint8_t* data,
                  std::size_t size) {
  if (carried > 0) {
    std::array<std::uint8_t, 3> group{};
    std::copy_n(carry.begin(), carried, group.begin());
    const std::size_t taken = std::min(size, 3 - carried);
    std::copy_n(data, taken, group.begin() + static_cast<std::ptrdiff_t>(carried));
    data += taken;
    size -= taken;
    carried += taken;
    if (carried < 3) {
      carry = {group[0], group[1]};
      return;
    }
    AppendBase64(out, group.data(), 3);
    carried = 0;
  }
  const std::size_t whole = size / 3 * 3;
  AppendBase64(out, data, whole);
  carried = size - whole;
  std::copy_n(data + whole, carried, carry.begin());
}

}  // namespace

CipherTextWriter::CipherTextWriter(Emit emit) : emit_(std::move(emit)) { AppendJson(kCipherRecordOpening); }

bool CipherTextWriter::AppendCipherBytes(std::span<const std::uint8_t> bytes) {
  field_.clear();
  AppendGroups(field_, cipherCarry_, cipherCarried_, bytes.data(), bytes.size());
  AppendJson(field_);
  return !failed_;
}

bool CipherTextWriter::Finish(const CipherMeta_t& meta) {
  field_.clear();
  AppendBase64(field_, cipherCarry_.data(), cipherCarried_);
  cipherCarried_ = 0;
  // The record without "cd" opens with the member that follows it: '{' becomes the separator.
  const std::string others = CipherMetaToJsonStr(meta);
  field_ += "\",";
  field_.append(others, 1);
  AppendJson(field_);
  AppendBase64(text_, jsonCarry_.data(), jsonCarried_);
  jsonCarried_ = 0;
  Flush();
  return !failed_;
}

void CipherTextWriter::AppendJson(std::string_view json) {
  AppendGroups(text_, jsonCarry_, jsonCarried_, reinterpret_cast<const std::uint8_t*>(json.data()), json.size());
  if (text_.size() >= kEmitSize) {
    Flush();
  }
}

void CipherTextWriter::Flush() {
  if (!failed_ && !text_.empty()) {
    failed_ = !emit_(text_);
  }
  text_.clear();
}

std::string SerializedCipherText(const CipherMeta_t& meta, std::span<const std::uint8_t> cipherText) {
  std::string text;
  // Four text characters for three JSON bytes, which are four for three cipher bytes, plus the
  // record's other members.
  text.reserve((cipherText.size() / 3 * 4 + 256) / 3 * 4);
  CipherTextWriter writer([&text](std::string_view piece) {
    text.append(piece);
    return true;
  });
  (void)writer.AppendCipherBytes(cipherText);
  (void)writer.Finish(meta);
  return text;
}

}  // namespace QVCryptoService
