#include "encryption/cipher_text_reader.h"

#include "encryption/cipher_text_writer.h"
#include "encryption/compact_cipher_record.h"
#include "primitives/base64_codec.h"
#include "primitives/openssl_int.h"

#include <algorithm>

namespace QVCryptoService {
namespace {

constexpr std::size_t kGroupCharacters = 4;
constexpr std::size_t kGroupBytes = 3;
constexpr std::size_t kPieceSize = std::size_t{1} << 20;
// The record's members after "cd" take a few hundred bytes; more is not a record written here.
constexpr std::size_t kLongestRest = 64 * 1024;

// DecodeWholeGroups decodes the longest run of whole four-character groups without padding at
// the start of `text` into `out` (room for text.size() / 4 * 3 bytes) and returns the number of
// characters it took.
std::size_t DecodeWholeGroups(std::string_view text, std::uint8_t* out) {
  const std::size_t whole = text.size() / kGroupCharacters * kGroupCharacters;
  const std::size_t bytes = whole / kGroupCharacters * kGroupBytes;
  if (DecodeBase64Into(text.substr(0, whole), out, Base64Form::kWellFormed) == bytes) {
    return whole;
  }
  // Something in the run is not a plain group: the groups before it are decoded again.
  std::size_t taken = 0;
  while (taken < whole &&
         DecodeBase64Into(text.substr(taken, kGroupCharacters), out, Base64Form::kWellFormed) == kGroupBytes) {
    out += kGroupBytes;
    taken += kGroupCharacters;
  }
  return taken;
}

// CompleteGroup moves characters from the front of `text` to `carry` until it holds a group.
bool CompleteGroup(std::string& carry, std::string_view& text) {
  const std::size_t taken = std::min(kGroupCharacters - carry.size(), text.size());
  carry.append(text.substr(0, taken));
  text.remove_prefix(taken);
  return carry.size() == kGroupCharacters;
}

}  // namespace

void CipherTextReader::Take(std::string_view piece) {
  if (stage_ == Stage::kTooLong) {
    return;
  }
  length_ += piece.size();
  // The one-call reader decodes no text longer than OpenSSL's int counts.
  if (!NarrowToOpenSslInt(length_)) {
    ReleaseJson();
    whole_ = std::string();
    carry_.clear();
    stage_ = Stage::kTooLong;
    return;
  }
  TakeGroups(piece);
}

void CipherTextReader::TakeGroups(std::string_view text) {
  if (stage_ == Stage::kWhole) {
    whole_.append(text);
    return;
  }
  if (stage_ == Stage::kGroups && !carry_.empty()) {
    if (!CompleteGroup(carry_, text)) {
      return;
    }
    std::array<std::uint8_t, kGroupBytes> group{};
    if (DecodeWholeGroups(carry_, group.data()) == kGroupCharacters) {
      carry_.clear();
      TakeJson(std::string_view(reinterpret_cast<const char*>(group.data()), group.size()));
    } else {
      stage_ = Stage::kTail;
    }
  }
  if (stage_ == Stage::kGroups) {
    decoded_.resize(text.size() / kGroupCharacters * kGroupBytes);
    const std::size_t taken = DecodeWholeGroups(text, reinterpret_cast<std::uint8_t*>(decoded_.data()));
    TakeJson(std::string_view(decoded_).substr(0, taken / kGroupCharacters * kGroupBytes));
    text.remove_prefix(taken);
    // What is left is short of a group, or holds padding or a character outside the alphabet:
    // then it must be the text's last group.
    if (text.size() >= kGroupCharacters) {
      stage_ = Stage::kTail;
    }
  }
  carry_.append(text);
  if (stage_ == Stage::kTail && carry_.size() > kGroupCharacters) {
    KeepWhole();
  }
}

void CipherTextReader::DecodeTail() {
  if (stage_ == Stage::kWhole || carry_.empty()) {
    return;
  }
  std::vector<std::uint8_t> tail;
  if (!DecodeBase64(carry_, tail, Base64Form::kWellFormed)) {
    KeepWhole();
    return;
  }
  carry_.clear();
  TakeJson(std::string_view(reinterpret_cast<const char*>(tail.data()), tail.size()));
}

void CipherTextReader::KeepWhole() {
  // The JSON text decoded so far came from whole groups: encoding it again gives their characters.
  const std::string json = JsonSoFar();
  whole_.clear();
  AppendBase64(whole_, reinterpret_cast<const std::uint8_t*>(json.data()), json.size());
  whole_ += carry_;
  carry_.clear();
  stage_ = Stage::kWhole;
  ReleaseJson();
}

void CipherTextReader::TakeJson(std::string_view json) {
  if (field_ == Field::kOpening) {
    while (!json.empty() && opened_ < kCipherRecordOpening.size()) {
      if (json.front() != kCipherRecordOpening[opened_]) {
        KeepJsonWhole(json);
        return;
      }
      ++opened_;
      json.remove_prefix(1);
    }
    if (opened_ == kCipherRecordOpening.size()) {
      field_ = Field::kCd;
    }
  }
  if (field_ == Field::kCd || field_ == Field::kCdTail) {
    const std::size_t quote = json.find('"');
    TakeCd(json.substr(0, quote));
    json.remove_prefix(quote == std::string_view::npos ? json.size() : quote);
    if (field_ == Field::kWhole) {
      json_.append(json);
      return;
    }
    if (json.empty()) {
      return;
    }
    field_ = Field::kRest;
    json.remove_prefix(1);
  }
  if (field_ == Field::kRest) {
    rest_.append(json);
    if (rest_.size() > kLongestRest) {
      KeepJsonWhole({});
    }
    return;
  }
  json_.append(json);
}

void CipherTextReader::TakeCd(std::string_view cd) {
  if (field_ == Field::kCd && !cdCarry_.empty()) {
    if (!CompleteGroup(cdCarry_, cd)) {
      return;
    }
    std::uint8_t* room = CipherRoom(kGroupBytes);
    if (DecodeWholeGroups(cdCarry_, room) == kGroupCharacters) {
      cdCarry_.clear();
    } else {
      pieces_.back().resize(pieces_.back().size() - kGroupBytes);
      field_ = Field::kCdTail;
    }
  }
  if (field_ == Field::kCd) {
    const std::size_t room = cd.size() / kGroupCharacters * kGroupBytes;
    const std::size_t taken = DecodeWholeGroups(cd, CipherRoom(room));
    pieces_.back().resize(pieces_.back().size() - room + taken / kGroupCharacters * kGroupBytes);
    cd.remove_prefix(taken);
    if (cd.size() >= kGroupCharacters) {
      field_ = Field::kCdTail;
    }
  }
  cdCarry_.append(cd);
  if (field_ == Field::kCdTail && cdCarry_.size() > kGroupCharacters) {
    KeepJsonWhole({});
  }
}

std::uint8_t* CipherTextReader::CipherRoom(std::size_t size) {
  if (pieces_.empty() || pieces_.back().size() + size > pieces_.back().capacity()) {
    pieces_.emplace_back().reserve(std::max(size, kPieceSize));
  }
  std::vector<std::uint8_t>& piece = pieces_.back();
  piece.resize(piece.size() + size);
  return piece.data() + piece.size() - size;
}

void CipherTextReader::KeepJsonWhole(std::string_view unread) {
  std::string json = JsonSoFar();
  json.append(unread);
  ReleaseJson();
  json_ = std::move(json);
  field_ = Field::kWhole;
}

std::string CipherTextReader::JsonSoFar() const {
  if (field_ == Field::kWhole) {
    return json_;
  }
  std::string json(kCipherRecordOpening.substr(0, opened_));
  // Each piece holds whole groups of three bytes, so their base64 texts join without padding.
  for (const std::vector<std::uint8_t>& piece : pieces_) {
    AppendBase64(json, piece.data(), piece.size());
  }
  json += cdCarry_;
  if (field_ == Field::kRest) {
    json += '"';
    json += rest_;
  }
  return json;
}

void CipherTextReader::ReleaseJson() {
  pieces_ = CipherPieces();
  cdCarry_.clear();
  rest_.clear();
  json_.clear();
}

CipherTextReader::Outcome CipherTextReader::Finish() {
  if (stage_ == Stage::kTooLong) {
    return Outcome::kTooLong;
  }
  DecodeTail();
  if (stage_ == Stage::kWhole) {
    return Outcome::kWholeText;
  }
  if (field_ == Field::kRest) {
    // The record's other members and the last group of "cd" are read as the one-call path reads
    // a compact record: with the same reader, which validates the whole record but for the
    // cipher bytes decoded already.
    std::string record(kCipherRecordOpening);
    record += cdCarry_;
    record += '"';
    record += rest_;
    std::vector<std::uint8_t> tail;
    if (ReadCompactCipherRecord(record, meta_, tail)) {
      if (!tail.empty()) {
        std::copy(tail.begin(), tail.end(), CipherRoom(tail.size()));
      }
      return Outcome::kRecord;
    }
    meta_ = CipherMeta_t();
  }
  if (field_ != Field::kWhole) {
    KeepJsonWhole({});
  }
  // The outer text was well formed: its canonical form decodes to the same JSON text.
  whole_.clear();
  AppendBase64(whole_, reinterpret_cast<const std::uint8_t*>(json_.data()), json_.size());
  ReleaseJson();
  return Outcome::kWholeText;
}

}  // namespace QVCryptoService
