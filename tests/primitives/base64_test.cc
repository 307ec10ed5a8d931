#include <qvcryptoservice/primitives.h>

#include "primitives/base64_codec.h"
#include "primitives/base64_paths.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
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

std::vector<Base64Path> PathsThatRun() {
  std::vector<Base64Path> paths;
  for (const Base64Path path : {Base64Path::kScalar, Base64Path::kSsse3, Base64Path::kAvx2}) {
    if (Base64PathRuns(path)) {
      paths.push_back(path);
    }
  }
  return paths;
}

// Every length 0..256 and longer seeded pseudo-random inputs: each path writes OpenSSL's text,
// after what is already in the string, and reads the bytes back in both forms.
TEST(Base64Paths, EveryPathEncodesAsOpenSslAndDecodesBack) {
  std::mt19937 random(20261125);
  std::vector<std::vector<std::uint8_t>> inputs;
  for (std::size_t length = 0; length <= 256; ++length) {
    inputs.emplace_back(length);
  }
  for (int i = 0; i < 64; ++i) {
    inputs.emplace_back(random() % 5000);
  }
  for (std::vector<std::uint8_t>& input : inputs) {
    for (std::uint8_t& byte : input) {
      byte = static_cast<std::uint8_t>(random());
    }
    std::string expected((input.size() + 2) / 3 * 4 + 1, '\0');
    expected.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(expected.data()),
                                                             input.data(), static_cast<int>(input.size()))));
    for (const Base64Path path : PathsThatRun()) {
      const auto where = testing::Message() << "path " << static_cast<int>(path) << ", length " << input.size();
      std::string text = "x";
      AppendBase64On(path, text, input.data(), input.size());
      ASSERT_EQ(text, "x" + expected) << where;
      for (const Base64Form form : {Base64Form::kWellFormed, Base64Form::kCanonical}) {
        std::vector<std::uint8_t> decoded(expected.size() / 4 * 3);
        decoded.resize(DecodeBase64IntoOn(path, expected, decoded.data(), form));
        ASSERT_EQ(decoded, input) << where;
      }
    }
  }
}

// One character of a 344-character text replaced at every position by each byte outside the
// alphabet and by padding: every path gives the scalar path's answer, and refuses every change
// before the last group.
TEST(Base64Paths, EveryPathRefusesWhatTheScalarPathRefuses) {
  std::vector<std::uint8_t> bytes(256);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 77 + 3);
  }
  std::string good;
  AppendBase64On(Base64Path::kScalar, good, bytes.data(), bytes.size());
  std::string strangers;
  for (int c = 0; c < 256; ++c) {
    std::vector<std::uint8_t> decoded(3);
    if (DecodeBase64IntoOn(Base64Path::kScalar, std::string(4, static_cast<char>(c)), decoded.data(),
                           Base64Form::kWellFormed) == kNotDecoded) {
      strangers.push_back(static_cast<char>(c));
    }
  }
  ASSERT_EQ(strangers.size(), 256U - 64U);
  for (std::size_t position = 0; position < good.size(); ++position) {
    for (const char stranger : strangers) {
      std::string text = good;
      text[position] = stranger;
      for (const Base64Form form : {Base64Form::kWellFormed, Base64Form::kCanonical}) {
        std::vector<std::uint8_t> decoded(text.size() / 4 * 3);
        const std::size_t scalar = DecodeBase64IntoOn(Base64Path::kScalar, text, decoded.data(), form);
        if (position < good.size() - 4) {
          ASSERT_EQ(scalar, kNotDecoded) << position;
        }
        for (const Base64Path path : PathsThatRun()) {
          ASSERT_EQ(DecodeBase64IntoOn(path, text, decoded.data(), form), scalar)
              << "path " << static_cast<int>(path) << ", position " << position << ", byte " << int{stranger};
        }
      }
    }
  }
}

}  // namespace
}  // namespace QVCryptoService
