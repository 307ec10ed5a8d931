#pragma once

// Sources and sinks of bytes for the streaming forms of encryption and hashing: data of any size
// passes through in pieces, never whole in memory.

#include <qvcryptoservice/qvcs_export.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService {

// ByteSource gives its bytes in order, a piece per call.
class QVCS_EXPORT ByteSource {
 public:
  virtual ~ByteSource();
  // Read puts up to out.size() bytes into `out` and sets `count` to their number; 0 means that
  // the source has ended. False when reading failed. Must not throw.
  virtual bool Read(std::span<std::uint8_t> out, std::size_t& count) = 0;
};

// ByteSink takes bytes in order.
class QVCS_EXPORT ByteSink {
 public:
  virtual ~ByteSink();
  // Write takes all of `data`; false when it could not. Must not throw.
  virtual bool Write(std::span<const std::uint8_t> data) = 0;
};

}  // namespace QVCryptoService
