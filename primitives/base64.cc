#include <qvcryptoservice/primitives.h>

#include "primitives/base64_codec.h"

#include "primitives/openssl_int.h"
#include "primitives/ossl_ptr.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <optional>
#include <string>

namespace QVCryptoService {

// Encoding is done here rather than through a BIO chain: the output is the same single-line
// standard base64, without two allocations and a filter per call on every record written.
std::string base64_encode(const unsigned char* data, std::uint32_t len) {
  std::string text;
  if (data != nullptr && len != 0) {
    AppendBase64(text, data, len);
  }
  return text;
}

// Well-formed text (whole groups, padding only at the end) is decoded here, giving the bytes
// OpenSSL's base64 filter gives for it without a BIO chain per call. Anything else still goes
// through the filter: how it treats malformed text (what it skips, where it stops) is part of
// what readers of stored records have always seen.
std::string base64_decode(const std::string& text) {
  std::string bytes;
  const std::optional<int> textLength = NarrowToOpenSslInt(text.size());
  if (text.empty() || !textLength) {
    return bytes;
  }
  bytes.resize(text.size() / 4 * 3);
  const std::size_t decoded =
      DecodeBase64Into(text, reinterpret_cast<std::uint8_t*>(bytes.data()), Base64Form::kWellFormed);
  if (decoded != kNotDecoded) {
    bytes.resize(decoded);
    return bytes;
  }
  bytes.clear();
  BioChainPtr chain(BIO_new(BIO_f_base64()));
  BIO* source = BIO_new_mem_buf(text.data(), *textLength);
  if (!chain || source == nullptr) {
    BIO_free(source);
    return bytes;
  }
  BIO_set_flags(chain.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(chain.get(), source);
  bytes.resize(text.size());
  const int read = BIO_read(chain.get(), bytes.data(), *textLength);
  bytes.resize(read > 0 ? static_cast<std::size_t>(read) : 0);
  return bytes;
}

}  // namespace QVCryptoService
