// Every base64 path this processor runs must give the scalar path's answer: the same text for
// any bytes, and for any text the same refusal or the same bytes, in both forms.

#include "primitives/base64_codec.h"
#include "primitives/base64_paths.h"

#include "fuzz/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

using QVCryptoService::Base64Form;
using QVCryptoService::Base64Path;

std::size_t Decode(Base64Path path, std::string_view text, Base64Form form, std::vector<std::uint8_t>& bytes) {
  bytes.assign(text.size() / 4 * 3, 0);
  const std::size_t written = QVCryptoService::DecodeBase64IntoOn(path, text, bytes.data(), form);
  bytes.resize(written == QVCryptoService::kNotDecoded ? 0 : written);
  return written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string scalarText;
  QVCryptoService::AppendBase64On(Base64Path::kScalar, scalarText, data, size);
  for (const Base64Path path : {Base64Path::kSsse3, Base64Path::kAvx2}) {
    if (!QVCryptoService::Base64PathRuns(path)) {
      continue;
    }
    std::string pathText;
    QVCryptoService::AppendBase64On(path, pathText, data, size);
    fuzzsupport::Require(pathText == scalarText, "a vector path encodes differently");
    for (const Base64Form form : {Base64Form::kWellFormed, Base64Form::kCanonical}) {
      std::vector<std::uint8_t> scalarBytes;
      std::vector<std::uint8_t> pathBytes;
      fuzzsupport::Require(Decode(path, text, form, pathBytes) == Decode(Base64Path::kScalar, text, form, scalarBytes),
                           "a vector path refuses differently");
      fuzzsupport::Require(pathBytes == scalarBytes, "a vector path decodes differently");
      fuzzsupport::Require(
          Decode(path, pathText, form, pathBytes) == size && pathBytes == std::vector<std::uint8_t>(data, data + size),
          "a vector path does not read back its own text");
    }
  }
  return 0;
}
