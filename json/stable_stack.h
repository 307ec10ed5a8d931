#pragma once

// StableStack: the reader's scratch room for the elements of the containers it is reading. An
// element keeps its address while the stack grows above it, so a value is read in place on top
// while the values nested in it are pushed and popped above; the room is reused by every
// container of the document.

#include <bit>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace zkJson {

template <typename T>
class StableStack {
 public:
  std::size_t size() const { return size_; }

  // push returns the next slot: default-made the first time, afterwards as the last move out of
  // it left it (for a Value, null without comments).
  T& push() {
    if (size_ == capacity_) {
      const std::size_t length = kFirstChunkLength << chunks_.size();
      chunks_.push_back(std::make_unique<T[]>(length));
      capacity_ += length;
    }
    return at(size_++);
  }

  // popInto moves the elements from position `first` up, in order, to the end of `out`, grown
  // once, to the size it needs.
  template <typename Container>
  void popInto(std::size_t first, Container& out) {
    out.reserve(out.size() + (size_ - first));
    for (std::size_t i = first; i < size_; ++i) {
      out.push_back(std::move(at(i)));
    }
    size_ = first;
  }

 private:
  // Each chunk is twice as long as the one before, so that a small document needs one small
  // chunk and a large one few: chunk k holds the positions from kFirstChunkLength * (2^k - 1) on.
  static constexpr std::size_t kFirstChunkLength = 16;

  T& at(std::size_t index) {
    const auto chunk = static_cast<std::size_t>(std::bit_width(index / kFirstChunkLength + 1) - 1);
    return chunks_[chunk][index - kFirstChunkLength * ((std::size_t{1} << chunk) - 1)];
  }

  std::vector<std::unique_ptr<T[]>> chunks_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

}  // namespace zkJson
