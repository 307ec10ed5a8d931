#pragma once

// Where a command's result goes: standard output, or with --output FILE a file that takes the
// place of FILE only once the whole command has succeeded (a failed command leaves FILE as it
// was, and nothing beside it). A new FILE is private to its owner from its creation on.

#include <qvcryptoservice/byte_streams.h>
#include <qvcryptoservice/secure_block.h>

#include "cli/arguments.h"
#include "cli/held_white_space.h"
#include "platform/replacement_file.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

// The option of every command that writes a secret or a text.
inline constexpr std::string_view kOutputOption = "--output";

// Read stdin in pieces of this size.
inline constexpr std::size_t kStreamPieceSize = std::size_t{1} << 20;

class CommandOutput final : public QVCryptoService::ByteSink {
 public:
  // How standard output is written: as the bytes come, or all at once when the command is done
  // (a decryption's plain text, which must not be seen unless the whole decryption succeeded).
  enum class Timing { kAsWritten, kWhenDone };

  // Opens --output FILE when given (ToolError when the file beside it cannot be made).
  CommandOutput(const Invocation& invocation, Timing timing);

  // Write never throws: a failure is remembered and reported by Commit().
  bool Write(std::span<const std::uint8_t> data) override;
  void Write(std::string_view text);

  // Commit delivers everything written; ToolError when any of it could not be.
  void Commit();

  // What a write failure is called in messages.
  std::string failure() const;

 private:
  bool Flush();

  std::string path_;
  std::unique_ptr<QVCryptoService::platform::ReplacementFile> file_;
  Timing timing_;
  bool failed_ = false;
  std::vector<QVCryptoService::SecureBlock> pending_;  // in pieces: never copied whole to grow
};

// WriteCommandOutput writes one result whole to the command's output.
void WriteCommandOutput(const Invocation& invocation, std::span<const std::uint8_t> data);
void WriteCommandOutput(const Invocation& invocation, std::string_view text);

// StandardInputSource gives standard input in pieces; a read error is reported as a ToolError
// by Check() once the library call is over.
class StandardInputSource : public QVCryptoService::ByteSource {
 public:
  StandardInputSource() = default;
  // With `largest`: standard input that is a regular file holding more than `largest` bytes is
  // refused at the first read, before any of it is read (tooLarge() tells); a pipe's length is
  // not known before it is read, so it is read as it comes.
  explicit StandardInputSource(std::uint64_t largest) : largest_(largest) {}

  bool Read(std::span<std::uint8_t> out, std::size_t& count) override;
  void Check() const;
  bool failed() const { return failed_; }
  bool tooLarge() const { return tooLarge_; }
  std::uint64_t total() const { return total_; }

 private:
  std::optional<std::uint64_t> largest_;  // until the first read
  bool tooLarge_ = false;
  bool failed_ = false;
  std::uint64_t total_ = 0;
};

// TrimmedTextSource gives a text on standard input (or on `input`) without the white space around
// it, as ReadTextArgument would; the constructor gives a usage error naming `what` when there is
// none. Each byte is looked at once, and white space is held back only until the next text.
class TrimmedTextSource : public QVCryptoService::ByteSource {
 public:
  explicit TrimmedTextSource(std::string_view what) : TrimmedTextSource(what, nullptr) {}
  TrimmedTextSource(std::string_view what, QVCryptoService::ByteSource& input) : TrimmedTextSource(what, &input) {}
  TrimmedTextSource(const TrimmedTextSource&) = delete;
  TrimmedTextSource& operator=(const TrimmedTextSource&) = delete;
  bool Read(std::span<std::uint8_t> out, std::size_t& count) override;
  void Check() const;
  // What the held white space costs (for tests).
  std::size_t heldBytes() const { return held_.storedBytes(); }

 private:
  TrimmedTextSource(std::string_view what, QVCryptoService::ByteSource* input);
  bool Fill();
  bool TextNext() const;

  StandardInputSource standardInput_;
  QVCryptoService::ByteSource& input_;
  std::vector<std::uint8_t> piece_;  // the piece read last: its first `filled_` bytes
  std::size_t filled_ = 0;
  std::size_t position_ = 0;  // how far into it reading has come
  HeldWhiteSpace held_;
  bool ended_ = false;
  bool failed_ = false;
};

}  // namespace qvcrypto
