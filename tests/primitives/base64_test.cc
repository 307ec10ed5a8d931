#include <qvcryptoservice/primitives.h>

#include "primitives/base64_codec.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

using testsupport::DataRow;
using testsupport::ReadDataTable;

std::string Encode(const std::string& bytes) {
  return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()));
}

TEST(Base64, KnownAnswers) {
  for (const DataRow& row : ReadDataTable("crypto_base64_known.tsv")) {
    EXPECT_EQ(Encode(row["bytes"]), row["text"]) << row.where;
    EXPECT_EQ(base64_decode(row["text"]), row["bytes"]) << row.where;
  }
  EXPECT_EQ(base64_encode(nullptr, 5), "");
}

// Every length up to 300 in one line of padded groups; the strict decoder reads all of it back.
TEST(Base64, EncoderWritesOneLineTheStrictDecoderReadsBack) {
  std::string bytes;
  for (std::size_t length = 0; length <= 300; ++length) {
    const std::string text = Encode(bytes);
    EXPECT_EQ(text.size(), (length + 2) / 3 * 4) << "length " << length;
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
