#include "cli/output.h"

#include "cli/console.h"
#include "cli/tool.h"

#include <algorithm>
#include <cstdio>

namespace qvcrypto {

using QVCryptoService::SecureBlock;

namespace {

bool IsSpace(std::uint8_t byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n' || byte == '\v' || byte == '\f';
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
  count = std::fread(out.data(), 1, out.size(), stdin);
  total_ += count;
  failed_ = failed_ || std::ferror(stdin) != 0;
  return !failed_;
}

void StandardInputSource::Check() const {
  if (failed_) {
    Failed("cannot read standard input");
  }
}

TrimmedTextSource::TrimmedTextSource(std::string_view what) {
  // Leading white space is dropped as it is read.
  while (start_ == buffer_.size() && Fill()) {
    while (start_ < buffer_.size() && IsSpace(buffer_[start_])) {
      ++start_;
    }
  }
  if (start_ == buffer_.size()) {
    Check();
    Usage("no " + std::string(what) + " given (as argument or on standard input)");
  }
}

// Fill appends the next piece of standard input to what is left unread; false at its end.
bool TrimmedTextSource::Fill() {
  if (ended_) {
    return false;
  }
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start_));
  start_ = 0;
  const std::size_t kept = buffer_.size();
  buffer_.resize(kept + kStreamPieceSize);
  std::size_t count = 0;
  ended_ = !input_.Read({buffer_.data() + kept, kStreamPieceSize}, count) || count == 0;
  buffer_.resize(kept + count);
  return !ended_;
}

bool TrimmedTextSource::Read(std::span<std::uint8_t> out, std::size_t& count) {
  count = 0;
  while (true) {
    // White space at the end of what was read is held back until more text follows it, and
    // dropped at the end.
    std::size_t end = buffer_.size();
    while (end > start_ && IsSpace(buffer_[end - 1])) {
      --end;
    }
    if (end > start_) {
      count = std::min(out.size(), end - start_);
      std::copy_n(buffer_.begin() + static_cast<std::ptrdiff_t>(start_), count, out.begin());
      start_ += count;
      return true;
    }
    if (!Fill()) {
      return !input_.failed();
    }
  }
}

}  // namespace qvcrypto
