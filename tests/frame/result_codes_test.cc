#include <qvcryptoservice/result.h>

#include "frame/result_compose.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <array>
#include <string>

namespace QVCryptoService {
namespace {

TEST(PxaErrorReason, GivesTheMessageOfEachFamilyAndCode) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("frame_result_messages.tsv")) {
    EXPECT_EQ(PxaErrorReason(std::stoull(row["value"], nullptr, 16)), row["message"]) << row.where;
  }
}

TEST(PxaErrorReason, CarriesOpenSslsOwnTextForAnyLowWord) {
  for (const unsigned long code : {0UL, 0x1C8000F2UL, 0x12345UL}) {
    std::array<char, 1024> expected{};
    ERR_error_string_n(code, expected.data(), expected.size());
    EXPECT_EQ(PxaErrorReason(0x200000000ull | code), expected.data()) << code;
  }
}

TEST(ResultComposition, CodesAreSignExtendedUnderTheirFamilyTag) {
  EXPECT_EQ(KeystoreResult(KS_SUCCESS), PXA_OK);
  EXPECT_EQ(KeystoreResult(KS_ERR_CORRUPTED), 0x10000000Full);
  EXPECT_EQ(KeystoreResult(-1), ~PxaResult{0}) << "a negative code loses its tag by design";
  EXPECT_EQ(OpenSslResult(0x1C8000F2UL), 0x21C8000F2ull);
  EXPECT_EQ(OpenSslResult(0x80000002UL), 0xFFFFFFFF80000002ull);
}

}  // namespace
}  // namespace QVCryptoService
