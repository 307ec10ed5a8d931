#include <qvcryptoservice/primitives.h>

#include "primitives/base64_strict.h"

#include "primitives/ossl_ptr.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <array>
#include <climits>
#include <optional>
#include <string>

namespace QVCryptoService {
namespace {
constexpr std::array<char, 64> kAlphabet = {
    'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O', 'P', 'Q', 'R', 'S', 'T', 'U', 'V',
    'W', 'X', 'Y', 'Z', 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p', 'q', 'r',
    's', 't', 'u', 'v', 'w', 'x', 'y', 'z', '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '+', '/'};
// Sextet value of a base64 character, or -1.
int SextetOf(char c) {
  if (c >= 'A' && c <= 'Z') {
    return c - 'A';
  }
  if (c >= 'a' && c <= 'z') {
    return c - 'a' + 26;
  }
  if (c >= '0' && c <= '9') {
    return c - '0' + 52;
  }
  if (c == '+') {
    return 62;
  }
  if (c == '/') {
    return 63;
  }
  return -1;
}

}  // namespace

std::optional<std::string> DecodeBase64Strict(const std::string& text) {
  if (text.size() % 4 != 0) {
    return std::nullopt;
  }
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    const int padding = last ? (text[i + 3] == '=') + (text[i + 2] == '=' && text[i + 3] == '=') : 0;
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      const int sextet = j >= 4U - static_cast<std::size_t>(padding) ? 0 : SextetOf(text[i + j]);
      if (sextet < 0) {
        return std::nullopt;
      }
      group = (group << 6) | static_cast<std::uint32_t>(sextet);
    }
    bytes.push_back(static_cast<char>(group >> 16));
    if (padding < 2) {
      bytes.push_back(static_cast<char>((group >> 8) & 0xFF));
    }
    if (padding < 1) {
      bytes.push_back(static_cast<char>(group & 0xFF));
    }
  }
  return bytes;
}

// Encoding is done here rather than through a BIO chain: the output is the same single-line
// standard base64, without two allocations and a filter per call on every record written.
std::string base64_encode(const unsigned char* data, std::uint32_t len) {
  std::string text;
  if (data == nullptr || len == 0) {
    return text;
  }
  text.reserve((static_cast<std::size_t>(len) + 2) / 3 * 4);
  std::uint32_t i = 0;
  for (; i + 3 <= len; i += 3) {
    const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (std::uint32_t{data[i + 1]} << 8) | data[i + 2];
    text.push_back(kAlphabet[(group >> 18) & 63]);
    text.push_back(kAlphabet[(group >> 12) & 63]);
    text.push_back(kAlphabet[(group >> 6) & 63]);
    text.push_back(kAlphabet[group & 63]);
  }
  if (const std::uint32_t rest = len - i; rest > 0) {
    const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (rest == 2 ? std::uint32_t{data[i + 1]} << 8 : 0U);
    text.push_back(kAlphabet[(group >> 18) & 63]);
    text.push_back(kAlphabet[(group >> 12) & 63]);
    text.push_back(rest == 2 ? kAlphabet[(group >> 6) & 63] : '=');
    text.push_back('=');
  }
  return text;
}

// Decoding stays on OpenSSL's base64 filter: how it treats malformed text (what it skips, where
// it stops) is part of what readers of stored records have always seen.
std::string base64_decode(const std::string& text) {
  std::string bytes;
  if (text.empty() || text.size() > static_cast<std::size_t>(INT_MAX)) {
    return bytes;
  }
  BioChainPtr chain(BIO_new(BIO_f_base64()));
  BIO* source = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
  if (!chain || source == nullptr) {
    BIO_free(source);
    return bytes;
  }
  BIO_set_flags(chain.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(chain.get(), source);
  bytes.resize(text.size());
  const int read = BIO_read(chain.get(), bytes.data(), static_cast<int>(bytes.size()));
  bytes.resize(read > 0 ? static_cast<std::size_t>(read) : 0);
  return bytes;
}

}  // namespace QVCryptoService
