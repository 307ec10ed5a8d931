#pragma once

// The serialized cipher text read front to back: the counterpart of CipherTextWriter. A text as
// this library writes it (one well-formed base64 line of a compact record, "cd" first) is decoded
// as it comes, and only the cipher bytes are kept, in pieces that decryption can release one by
// one. Any other text is kept whole, for the one-call reader, which alone decides what such a
// text means.

#include <qvcryptoservice/cipher_meta.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService {

// Cipher bytes in pieces of about a mebibyte, in order.
using CipherPieces = std::vector<std::vector<std::uint8_t>>;

class CipherTextReader {
 public:
  enum class Outcome {
    kRecord,     // meta() and pieces() hold the record
    kWholeText,  // wholeText() holds the text, to be read by the one-call path
    kTooLong,    // longer than any text the one-call path reads: corrupted data to it
  };

  void Take(std::string_view piece);
  Outcome Finish();

  const CipherMeta_t& meta() const { return meta_; }
  CipherPieces& pieces() { return pieces_; }
  std::string& wholeText() { return whole_; }

 private:
  enum class Stage { kGroups, kTail, kWhole, kTooLong };
  enum class Field { kOpening, kCd, kCdTail, kRest, kWhole };

  // The outer base64.
  void TakeGroups(std::string_view text);
  void DecodeTail();
  void KeepWhole();
  // The JSON text decoded from it.
  void TakeJson(std::string_view json);
  void TakeCd(std::string_view cd);
  void KeepJsonWhole(std::string_view unread);
  std::string JsonSoFar() const;
  void ReleaseJson();
  std::uint8_t* CipherRoom(std::size_t size);

  std::uint64_t length_ = 0;
  Stage stage_ = Stage::kGroups;
  std::string carry_;  // outer characters short of a group, or the final group
  std::string whole_;
  std::string decoded_;  // scratch

  Field field_ = Field::kOpening;
  std::size_t opened_ = 0;  // characters of the opening matched
  std::string cdCarry_;     // "cd" characters short of a group, or its final group
  std::string rest_;        // the JSON text after "cd"
  std::string json_;        // the whole JSON text, for a record that is not read here
  CipherPieces pieces_;
  CipherMeta_t meta_;
};

}  // namespace QVCryptoService
