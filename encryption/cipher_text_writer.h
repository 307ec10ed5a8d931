#pragma once

// The serialized cipher text written front to back. The text is the base64 of the record's
// compact JSON object, whose members are sorted, and "cd" (the cipher bytes) sorts first: the
// object can be opened, the base64 of the cipher bytes streamed into it as they are made, and the
// record's other members written after them, all through one streaming base64 encoder.

#include <qvcryptoservice/cipher_meta.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace QVCryptoService {

// How every serialized record's JSON text begins: the object and its first member, "cd".
inline constexpr std::string_view kCipherRecordOpening = "{\"cd\":\"";

class CipherTextWriter {
 public:
  // The text goes to `emit` in pieces; once `emit` answers false, nothing more is written.
  using Emit = std::function<bool(std::string_view piece)>;
  explicit CipherTextWriter(Emit emit);

  // AppendCipherBytes adds bytes to "cd". False once emitting has failed.
  bool AppendCipherBytes(std::span<const std::uint8_t> bytes);

  // Finish closes "cd", writes the other members of `meta` and ends the text. False once emitting
  // has failed.
  bool Finish(const CipherMeta_t& meta);

 private:
  // Encodes JSON text into the serialized text.
  void AppendJson(std::string_view json);
  void Flush();

  Emit emit_;
  bool failed_ = false;
  std::array<std::uint8_t, 2> cipherCarry_{};  // cipher bytes waiting for a whole base64 group
  std::size_t cipherCarried_ = 0;
  std::array<std::uint8_t, 2> jsonCarry_{};  // the same for the JSON text
  std::size_t jsonCarried_ = 0;
  std::string field_;  // scratch: the base64 of cipher bytes, JSON text of "cd"
  std::string text_;   // serialized text not yet emitted
};

// SerializedCipherText returns the whole text for `meta` and `cipherText` (SeralizeCipherData).
std::string SerializedCipherText(const CipherMeta_t& meta, std::span<const std::uint8_t> cipherText);

}  // namespace QVCryptoService
