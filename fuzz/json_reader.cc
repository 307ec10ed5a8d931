// Any document either reader mode accepts must survive a write and a second read: the text
// FastWriter gives for it parses again, in the same mode, and writes back byte for byte.
// The first write may differ from the input (comments, white space, member order, reals cut to
// 16 digits); from then on the text is a fixed point.

#include <qvcryptoservice/zkjson_reader.h>
#include <qvcryptoservice/zkjson_writer.h>

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

void CheckRoundTrip(zkJson::ReaderMode mode, const std::uint8_t* data, std::size_t size) {
  zkJson::Reader reader(mode);
  zkJson::Value first;
  if (!reader.parseBytes(data, size, first)) {
    return;
  }
  zkJson::FastWriter writer;
  const std::string written = writer.write(first);
  zkJson::Reader again(mode);
  zkJson::Value second;
  fuzzsupport::Require(again.parse(written, second), "the written text of a parsed document parses");
  fuzzsupport::Require(writer.write(second) == written, "a written document writes back unchanged");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckRoundTrip(zkJson::ReaderMode::kDefault, data, size);
  CheckRoundTrip(zkJson::ReaderMode::kStrict, data, size);
  return 0;
}
