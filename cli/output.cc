#include "cli/output.h"

#include "cli/console.h"
#include "cli/tool.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qvcrypto {

using QVCryptoService::SecureBlock;

namespace {

constexpr const char* kReadFailure = "cannot read standard input";

bool IsSpace(std::uint8_t byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n' || byte == '\v' || byte == '\f';
}

// FirstSpace returns the first white-space byte in [first, last), or `last`. Runs of text are
// skipped eight bytes at a time: a word none of whose bytes is at or below ' ' holds no white
// space (whether any byte of a word is below 0x21 is the exact borrow test of the word).
const std::uint8_t* FirstSpace(const std::uint8_t* first, const std::uint8_t* last) {
  constexpr std::uint64_t kEachByte = 0x0101010101010101ULL;
  constexpr std::uint64_t kEachHighBit = 0x8080808080808080ULL;
  while (last - first >= 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, first, sizeof word);
    if (((word - 0x21 * kEachByte) & ~word & kEachHighBit) != 0) {
      const std::uint8_t* space = std::find_if(first, first + 8, IsSpace);
      if (space != first + 8) {
        return space;
      }
    }
    first += 8;
  }
  return std::find_if(first, last, IsSpace);
}

std::span<const std::uint8_t> BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

CommandOutput::CommandOutput(const Invocation& invocation, Timing timing) : timing_(timing) {
  if (const std::string* path = invocation.Value(kOutputOption)) {
    path_ = *path;
    file_ = std::make_unique<QVCryptoService::platform::ReplacementFile>(path_);
    if (!file_->valid()) {
      Failed("cannot write " + path_ + ": cannot create a file beside it");
    }
  }
}

bool CommandOutput::Write(std::span<const std::uint8_t> data) {
  if (failed_) {
    return false;
  }
  if (file_) {
    failed_ = !file_->Write(data);
    return !failed_;
  }
  try {
    // Bytes are gathered in pieces and handed to the descriptor a piece at a time, or at the end.
    while (!data.empty()) {
      if (pending_.empty() || pending_.back().size() == kStreamPieceSize) {
        if (timing_ == Timing::kAsWritten && !pending_.empty() && !Flush()) {
          return false;
        }
        pending_.emplace_back().reserve(kStreamPieceSize);
      }
      SecureBlock& piece = pending_.back();
      const std::size_t taken = std::min(data.size(), kStreamPieceSize - piece.size());
      piece.insert(piece.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(taken));
      data = data.subspan(taken);
    }
  } catch (...) {
    failed_ = true;
  }
  return !failed_;
}

void CommandOutput::Write(std::string_view text) { (void)Write(BytesOf(text)); }

bool CommandOutput::Flush() {
  // What others wrote through stdio goes first, so the order on the stream stays as written.
  failed_ = failed_ || std::fflush(stdout) != 0;
  for (const SecureBlock& piece : pending_) {
    failed_ = failed_ || !console::WriteToStandardOutput(piece.data(), piece.size());
  }
  pending_.clear();
  return !failed_;
}

void CommandOutput::Commit() {
  const bool delivered = file_ ? !failed_ && file_->Commit() : Flush();
  if (!delivered) {
    Failed(failure());
  }
}

std::string CommandOutput::failure() const {
  return file_ ? "cannot write " + path_ : std::string("cannot write to standard output");
}

void WriteCommandOutput(const Invocation& invocation, std::span<const std::uint8_t> data) {
  CommandOutput output(invocation, CommandOutput::Timing::kWhenDone);
  (void)output.Write(data);
  output.Commit();
}

void WriteCommandOutput(const Invocation& invocation, std::string_view text) {
  WriteCommandOutput(invocation, BytesOf(text));
}

bool StandardInputSource::Read(std::span<std::uint8_t> out, std::size_t& count) {
  if (largest_) {
    const std::optional<std::uint64_t> size = console::StandardInputFileSize();
    tooLarge_ = size && *size > *largest_;
    largest_.reset();
    if (tooLarge_) {
      count = 0;
      return false;
    }
  }
  count = std::fread(out.data(), 1, out.size(), stdin);
  total_ += count;
  failed_ = failed_ || std::ferror(stdin) != 0;
  return !failed_;
}

void StandardInputSource::Check() const {
  if (failed_) {
    Failed(kReadFailure);
  }
}

TrimmedTextSource::TrimmedTextSource(std::string_view what, QVCryptoService::ByteSource* input)
    : input_(input != nullptr ? *input : standardInput_) {
  // Leading white space is dropped as it is read.
  do {
    while (position_ < filled_ && IsSpace(piece_[position_])) {
      ++position_;
    }
  } while (position_ == filled_ && Fill());
  if (position_ == filled_) {
    Check();
    Usage("no " + std::string(what) + " given (as argument or on standard input)");
  }
}

void TrimmedTextSource::Check() const {
  if (failed_) {
    Failed(kReadFailure);
  }
}

// Fill reads the next piece in place of the last one, which has been looked at whole; false at
// the end of the input.
bool TrimmedTextSource::Fill() {
  if (ended_) {
    return false;
  }
  piece_.resize(kStreamPieceSize);
  std::size_t count = 0;
  failed_ = !input_.Read(piece_, count);
  ended_ = failed_ || count == 0;
  filled_ = ended_ ? 0 : std::min(count, piece_.size());
  position_ = 0;
  return !ended_;
}

bool TrimmedTextSource::TextNext() const { return position_ < filled_ && !IsSpace(piece_[position_]); }

bool TrimmedTextSource::Read(std::span<std::uint8_t> out, std::size_t& count) {
  count = 0;
  try {
    while (count == 0 && !out.empty()) {
      if (TextNext() && !held_.empty()) {
        // The white space held back lies inside the text: it is given first, as it was read.
        count = held_.Give(out);
      } else if (TextNext()) {
        const std::uint8_t* first = piece_.data() + position_;
        const std::uint8_t* last = first + std::min(out.size(), filled_ - position_);
        count = static_cast<std::size_t>(FirstSpace(first, last) - first);
        std::copy_n(first, count, out.begin());
        position_ += count;
      } else if (position_ < filled_) {
        while (position_ < filled_ && IsSpace(piece_[position_])) {
          held_.Add(piece_[position_++]);
        }
      } else if (!Fill()) {
        // White space at the end is trimmed.
        held_.Drop();
        return !failed_;
      }
    }
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace qvcrypto
