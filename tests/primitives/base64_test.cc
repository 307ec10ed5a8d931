#include <qvcryptoservice/primitives.h>

#include "primitives/base64_codec.h"
#include "primitives/ossl_ptr.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::DataRow;
using testsupport::ReadDataTable;

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

TEST(Base64, KnownAnswers) {
  for (const DataRow& row : ReadDataTable("crypto_base64_known.tsv")) {
    EXPECT_EQ(Encode(row["bytes"]), row["text"]) << row.where;
    EXPECT_EQ(base64_decode(row["text"]), row["bytes"]) << row.where;
  }
  EXPECT_EQ(base64_encode(nullptr, 5), "");
}

// Every length up to 300, one line whatever the length; the strict decoder reads all of it back.
TEST(Base64, EncoderMatchesOpenSslsFilterAndTheStrictDecoderReadsItBack) {
  std::string bytes;
  for (std::size_t length = 0; length <= 300; ++length) {
    const std::string text = Encode(bytes);
    EXPECT_EQ(text, EncodeWithBioChain(bytes)) << "length " << length;
    for (const Base64Form form : {Base64Form::kWellFormed, Base64Form::kCanonical}) {
      std::vector<std::uint8_t> decoded;
      ASSERT_TRUE(DecodeBase64(text, decoded, form)) << text;
      EXPECT_EQ(std::string(decoded.begin(), decoded.end()), bytes);
    }
    EXPECT_EQ(base64_decode(text), bytes);
    bytes.push_back(static_cast<char>((length * 131 + 7) & 0xFF));
  }
}

TEST(Base64, MalformedTextIsRefusedByTheStrictDecoderAndNeverDecodesLonger) {
  for (const DataRow& row : ReadDataTable("crypto_base64_malformed.tsv")) {
    std::vector<std::uint8_t> decoded;
    EXPECT_EQ(DecodeBase64(row["text"], decoded, Base64Form::kWellFormed), row["well_formed"] == "1") << row.where;
    if (row["well_formed"] == "1") {
      EXPECT_EQ(std::string(decoded.begin(), decoded.end()), base64_decode(row["text"])) << row.where;
    }
    EXPECT_EQ(DecodeBase64(row["text"], decoded, Base64Form::kCanonical), row["canonical"] == "1") << row.where;
    EXPECT_LE(base64_decode(row["text"]).size(), row["text"].size()) << row.where;
  }
  EXPECT_EQ(base64_decode("!!!!"), "");
}

}  // namespace
}  // namespace QVCryptoService
