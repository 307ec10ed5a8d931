#pragma once

// The white space read after a text, held until it is known whether more text follows it (then it
// is given back exactly as it was read) or the input ends (then it is dropped, as trimming drops
// it). A long run of one byte is counted rather than stored, so white space after a text costs a
// few bytes whatever its length; only short runs of mixed white space are stored byte by byte.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qvcrypto {

class HeldWhiteSpace {
 public:
  // Add holds one more byte. Not while a Give is under way: all of it is given first.
  void Add(std::uint8_t byte);

  // Give copies held bytes, in the order they were added, into `out` and returns how many; once
  // everything has been given, nothing is held any more.
  std::size_t Give(std::span<std::uint8_t> out);

  void Drop();
  bool empty() const { return literal_.empty() && runs_.empty() && openCount_ == 0; }

  // What holding the bytes costs, in bytes of storage (for tests).
  std::size_t storedBytes() const { return literal_.capacity() + runs_.capacity() * sizeof(Run); }

 private:
  // A run long enough to be counted, standing before literal_[before].
  struct Run {
    std::size_t before;
    std::uint64_t count;
    std::uint8_t byte;
  };

  void CloseRun();

  std::string literal_;
  std::vector<Run> runs_;
  // The run being added to.
  std::uint8_t openByte_ = 0;
  std::uint64_t openCount_ = 0;
  // How far Give has come.
  std::size_t givenLiteral_ = 0;
  std::size_t givenRuns_ = 0;
  std::uint64_t givenOfRun_ = 0;
};

}  // namespace qvcrypto
