#include <qvcryptoservice/primitives.h>

#include "primitives/base64_codec.h"
#include "primitives/ossl_ptr.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <array>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

std::string Encode(const std::string& bytes) {
  return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()));
}

// OpenSSL's own single-line base64 filter: the reference our encoder must match byte for byte.
std::string EncodeWithBioChain(const std::string& bytes) {
  BioChainPtr chain(BIO_new(BIO_f_base64()));
  BIO_set_flags(chain.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(chain.get(), BIO_new(BIO_s_mem()));
  if (!bytes.empty()) {
    BIO_write(chain.get(), bytes.data(), static_cast<int>(bytes.size()));
  }
  (void)BIO_flush(chain.get());
  BUF_MEM* memory = nullptr;
  BIO_get_mem_ptr(BIO_next(chain.get()), &memory);
  return std::string(memory->data, memory->length);
}

struct KnownText {
  std::string bytes;
  std::string text;
};

TEST(Base64, KnownAnswers) {
  for (const KnownText& c : std::to_array<KnownText>({
           {"", ""},
           {"f", "Zg=="},
           {"fo", "Zm8="},
           {"foo", "Zm9v"},
           {std::string("\x00\x01\x02", 3), "AAEC"},
           {std::string("\xff\xfe\xfd\xfc", 4), "//79/A=="},
       })) {
    EXPECT_EQ(Encode(c.bytes), c.text);
    EXPECT_EQ(base64_decode(c.text), c.bytes) << c.text;
  }
}

TEST(Base64, HundredBytesMakeOneLineOf136Characters) {
  std::string bytes(100, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<char>(i * 37);
  }
  const std::string text = Encode(bytes);
  EXPECT_EQ(text.size(), 136U);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  EXPECT_EQ(base64_decode(text), bytes);
}

TEST(Base64, EncoderMatchesOpenSslsFilterForEveryLengthUpTo300) {
  std::string bytes;
  for (std::size_t length = 0; length <= 300; ++length) {
    EXPECT_EQ(Encode(bytes), EncodeWithBioChain(bytes)) << "length " << length;
    bytes.push_back(static_cast<char>((length * 131 + 7) & 0xFF));
  }
}

TEST(Base64, NullDataEncodesAsEmpty) { EXPECT_EQ(base64_encode(nullptr, 5), ""); }

TEST(Base64, MalformedTextNeverGivesMoreBytesThanItsLength) {
  for (const std::string& text :
       std::to_array<std::string>({"!!!!", "Zg", "Zg=", "Z===", "Zm9v\nZm9v", "Zm9v Zm9v", "====", "\xff\xfe",
                                   std::string("Zm\0v", 4), "Zm9vYmFy*"})) {
    const std::string decoded = base64_decode(text);
    EXPECT_LE(decoded.size(), text.size()) << text;
  }
  EXPECT_EQ(base64_decode(""), "");
  EXPECT_EQ(base64_decode("!!!!"), "");
}

}  // namespace
}  // namespace QVCryptoService

namespace QVCryptoService {
namespace {

TEST(Base64Codec, AgreesWithTheFilterOnWellFormedTextAndRefusesTheRest) {
  std::string bytes;
  for (std::size_t length = 0; length <= 100; ++length) {
    const std::string text = Encode(bytes);
    for (const Base64Form form : {Base64Form::kWellFormed, Base64Form::kCanonical}) {
      std::vector<std::uint8_t> decoded;
      ASSERT_TRUE(DecodeBase64(text, decoded, form)) << text;
      EXPECT_EQ(std::string(decoded.begin(), decoded.end()), bytes);
    }
    EXPECT_EQ(base64_decode(text), bytes);
    bytes.push_back(static_cast<char>(length * 89 + 3));
  }
  for (const std::string& bad :
       std::to_array<std::string>({"Zg", "Zg=", "Z===", "====", "Zm9v\nZm9v", "Zm9v Zm9", "Zm9=Zm9v", "Zm=v", "Zm9*",
                                   "Zm9v-_==", std::string("Zm\0v", 4)})) {
    std::vector<std::uint8_t> decoded;
    EXPECT_FALSE(DecodeBase64(bad, decoded, Base64Form::kWellFormed)) << bad;
    EXPECT_FALSE(DecodeBase64(bad, decoded, Base64Form::kCanonical)) << bad;
  }
}

TEST(Base64Codec, OnlyTheCanonicalFormRefusesSetUnusedBits) {
  // "Zh==" and "Zm9=" carry bits that their padding discards; OpenSSL's decoder takes them.
  for (const char* text : {"Zh==", "Zm9="}) {
    std::vector<std::uint8_t> decoded;
    EXPECT_TRUE(DecodeBase64(text, decoded, Base64Form::kWellFormed)) << text;
    EXPECT_EQ(std::string(decoded.begin(), decoded.end()), base64_decode(text)) << text;
    EXPECT_FALSE(DecodeBase64(text, decoded, Base64Form::kCanonical)) << text;
  }
}

}  // namespace
}  // namespace QVCryptoService
