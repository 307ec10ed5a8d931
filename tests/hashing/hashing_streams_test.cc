// The streaming forms of the checksum, digest and HMAC give the one-call forms' records.

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_streams.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include "tests/support/piece_source.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace QVCryptoService {
namespace {

using testsupport::PieceSource;

TEST(HashingStreams, GiveTheOneCallRecordsForDataInAnyPieces) {
  ASSERT_TRUE(InitLibrary());
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  std::string large((1 << 20) + 3, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) {
    large[i] = static_cast<char>(i % 253);
  }
  for (const std::string& data : {std::string(), std::string("some data"), large}) {
    SCOPED_TRACE(data.size());
    std::string expected;
    std::string streamed;
    // Each record verifies the data it was made of and not a byte more, with either form.
    const auto verifies = [&](bool (*verify)(ByteSource&, const std::string&), const std::string& record) {
      PieceSource same(data, 4000);
      const std::string longer = data + "x";
      PieceSource other(longer, 4000);
      return verify(same, record) && !verify(other, record);
    };
    ASSERT_EQ(CreateChecksum(data, expected), PXA_OK);
    PieceSource checksumSource(data, 4000);
    ASSERT_EQ(CreateChecksumStream(checksumSource, streamed), PXA_OK);
    EXPECT_EQ(streamed, expected);
    EXPECT_TRUE(verifies(VerifyChecksumStream, expected));
    ASSERT_EQ(CreateHMAC(data, expected), PXA_OK);
    PieceSource hmacSource(data, 7);
    ASSERT_EQ(CreateHMACStream(hmacSource, streamed), PXA_OK);
    EXPECT_EQ(streamed, expected);
    EXPECT_TRUE(verifies(VerifyHMACStream, expected));
    ASSERT_EQ(CreateDigest(data, expected), PXA_OK);
    EXPECT_TRUE(verifies(VerifyDigestStream, expected));
    PieceSource digestSource(data, 1 << 20);
    ASSERT_EQ(CreateDigestStream(digestSource, streamed), PXA_OK);
    EXPECT_TRUE(VerifyDigest(data, streamed));
    EXPECT_FALSE(VerifyDigest(data + "x", streamed));
  }
  struct FailingSource : ByteSource {
    bool Read(std::span<std::uint8_t>, std::size_t&) override { return false; }
  } failing;
  std::string untouched = "untouched";
  EXPECT_EQ(CreateDigestStream(failing, untouched), PXA_ERR_UNSPECIFIED);
  EXPECT_EQ(untouched, "untouched");
  EXPECT_FALSE(VerifyChecksumStream(failing, untouched)) << "not a record";
}

}  // namespace
}  // namespace QVCryptoService
