#include "cli/held_white_space.h"

#include <algorithm>

namespace qvcrypto {
namespace {

// Runs at least this long are counted; a shorter one is cheaper stored byte by byte.
constexpr std::uint64_t kCountedRun = 2 * sizeof(std::uint64_t) + sizeof(std::size_t);

}  // namespace

void HeldWhiteSpace::Add(std::uint8_t byte) {
  if (openCount_ > 0 && byte != openByte_) {
    CloseRun();
  }
  openByte_ = byte;
  ++openCount_;
}

void HeldWhiteSpace::CloseRun() {
  if (openCount_ >= kCountedRun) {
    runs_.push_back({literal_.size(), openCount_, openByte_});
  } else {
    literal_.append(static_cast<std::size_t>(openCount_), static_cast<char>(openByte_));
  }
  openCount_ = 0;
}

std::size_t HeldWhiteSpace::Give(std::span<std::uint8_t> out) {
  CloseRun();
  std::size_t given = 0;
  while (given < out.size()) {
    const std::span<std::uint8_t> room = out.subspan(given);
    if (givenRuns_ < runs_.size() && runs_[givenRuns_].before == givenLiteral_) {
      const Run& run = runs_[givenRuns_];
      const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(room.size(), run.count - givenOfRun_));
      std::fill_n(room.begin(), taken, run.byte);
      given += taken;
      givenOfRun_ += taken;
      if (givenOfRun_ == run.count) {
        ++givenRuns_;
        givenOfRun_ = 0;
      }
      continue;
    }
    const std::size_t end = givenRuns_ < runs_.size() ? runs_[givenRuns_].before : literal_.size();
    if (givenLiteral_ == end) {
      break;
    }
    const std::size_t taken = std::min(room.size(), end - givenLiteral_);
    std::copy_n(literal_.begin() + static_cast<std::ptrdiff_t>(givenLiteral_), taken, room.begin());
    given += taken;
    givenLiteral_ += taken;
  }
  if (givenRuns_ == runs_.size() && givenLiteral_ == literal_.size()) {
    Drop();
  }
  return given;
}

void HeldWhiteSpace::Drop() {
  literal_ = std::string();
  runs_ = std::vector<Run>();
  openCount_ = 0;
  givenLiteral_ = 0;
  givenRuns_ = 0;
  givenOfRun_ = 0;
}

}  // namespace qvcrypto
