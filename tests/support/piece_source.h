#pragma once

#include <qvcryptoservice/byte_streams.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace testsupport {

// PieceSource gives the bytes of `data` at most `step` at a time, the way a pipe may.
class PieceSource : public QVCryptoService::ByteSource {
 public:
  PieceSource(std::string_view data, std::size_t step) : data_(data), step_(step) {}
  bool Read(std::span<std::uint8_t> out, std::size_t& count) override {
    count = std::min({out.size(), step_, data_.size()});
    std::copy_n(data_.begin(), count, out.begin());
    data_.remove_prefix(count);
    return true;
  }

 private:
  std::string_view data_;
  std::size_t step_;
};

}  // namespace testsupport
