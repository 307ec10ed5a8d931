#include <qvcryptoservice/result.h>

#include "frame/result_compose.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <array>
#include <string>

namespace QVCryptoService {
namespace {

struct MessageCase {
  PxaResult value;
  const char* message;
};

class PxaErrorReasonTest : public testing::TestWithParam<MessageCase> {};

TEST_P(PxaErrorReasonTest, GivesTheMessageOfItsFamilyAndCode) {
  EXPECT_EQ(PxaErrorReason(GetParam().value), GetParam().message) << std::hex << "value 0x" << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(LibraryFamily, PxaErrorReasonTest,
                         testing::ValuesIn(std::to_array<MessageCase>({
                             {PXA_OK, "PXA succeed with no error"},
                             {PXA_ERR_UNSPECIFIED, "PXA unspecified error"},
                             {PXA_ERR_INVALID_ARGUMENTS, "PXA invalid API arguments"},
                             {PXA_ERR_UNSUPPORTED_CIPHER, "PXA unsupported cipher algorithm name"},
                             {PXA_ERR_UNSUPPORTED_DIGEST, "PXA unsupported digest algorithm name"},
                             {PXA_ERR_CORRUPTED_DATA, "PXA corrupted data"},
                             {PXA_ERR_META_INCOMPATIBLE, "PXA meta data fields incompatible with crypto function"},
                             {PXA_ERR_INVALID_IV_LEN, "PXA invalid IV length"},
                             {PXA_ERR_MISMATCHED_KEY, "PXA mismatched key"},
                             {PXA_ERR_KEY_NOT_ACTIVE, "PXA key not active"},
                             {PXA_ERR_KEY_EXPIRED, "PXA key expired"},
                             {PXA_ERR_SSV_FILE, "SSV file not found or corrupted"},
                             {12, "PXA undefined error"},
                             {0xFFFFFFFEull, "PXA undefined error"},
                             {0xFFFFFFFFull, "PXA keystore not configured"},
                             {0xFFFFFFFFFFFFFFFFull, "undefined error"},
                             {0x300000000ull, "undefined error"},
                             {0x7FFFFFFF00000000ull, "undefined error"},
                         })));

INSTANTIATE_TEST_SUITE_P(KeystoreFamily, PxaErrorReasonTest,
                         testing::ValuesIn(std::to_array<MessageCase>({
                             {0x100000000ull, "KEYSTORE succeed with no error"},
                             {0x100000001ull, "KEYSTORE operation failure due to database error"},
                             {0x100000002ull, "KEYSTORE operation failure due to wrong MAP"},
                             {0x100000003ull, "KEYSTORE key already exists"},
                             {0x100000004ull, "KEYSTORE key not found"},
                             {0x100000005ull, "KEYSTORE key version already exists"},
                             {0x100000006ull, "KEYSTORE key version not found"},
                             {0x100000007ull, "KEYSTORE active key version already exists"},
                             {0x100000008ull, "KEYSTORE init failure due to wrong MAK"},
                             {0x100000009ull, "KEYSTORE init failure due to wrong component id"},
                             {0x10000000Aull, "KEYSTORE init failure due to SSV not initialized"},
                             {0x10000000Bull, "KEYSTORE init failure due to invalid SSV data"},
                             {0x10000000Cull, "KEYSTORE unspecified error"},
                             {0x10000000Dull, "KEYSTORE unspecified error"},
                             {0x10000000Eull, "KEYSTORE init failure due to no permission to read SSV data"},
                             {0x10000000Full, "Corrupted keystore data"},
                             {0x100000010ull, "KEYSTORE operation not supported by the keystore"},
                             {0x100000011ull, "KEYSTORE invalid parameters provided for the operation"},
                             {0x100000012ull, "KEYSTORE undefined error"},
                             {0x100000013ull, "KEYSTORE unspecified error"},
                             {0x100000014ull, "KEYSTORE undefined error"},
                             {0x1FFFFFFFFull, "KEYSTORE undefined error"},
                         })));

TEST(PxaErrorReasonOpenSsl, CarriesOpenSslsOwnTextForAnyLowWord) {
  for (const unsigned long code : {0UL, 0x1C8000F2UL, 0x12345UL}) {
    std::array<char, 1024> expected{};
    ERR_error_string_n(code, expected.data(), expected.size());
    EXPECT_EQ(PxaErrorReason(OpenSslResult(code)), expected.data()) << "code " << code;
    EXPECT_EQ(PxaErrorReason(0x200000000ull | code), expected.data()) << "code " << code;
  }
  // Family 2 with code 0 still asks OpenSSL, which names code 0 rather than succeeding.
  EXPECT_NE(PxaErrorReason(0x200000000ull), PxaErrorReason(PXA_OK));
  EXPECT_FALSE(PxaErrorReason(0x200000000ull).empty());
}

TEST(ResultComposition, KeystoreCodesAreSignExtendedUnderTagOne) {
  EXPECT_EQ(KeystoreResult(KS_SUCCESS), PXA_OK);
  EXPECT_EQ(KeystoreResult(KS_ERR_KEY_NOT_FOUND), 0x100000004ull);
  EXPECT_EQ(KeystoreResult(KS_ERR_CORRUPTED), 0x10000000Full);
  // A negative keystore code fills the high word with ones: the tag is lost by design.
  EXPECT_EQ(KeystoreResult(-1), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(PxaErrorReason(KeystoreResult(-1)), "undefined error");
}

TEST(ResultComposition, OpenSslCodesAreSignExtendedUnderTagTwo) {
  EXPECT_EQ(OpenSslResult(0x1C8000F2UL), 0x21C8000F2ull);
  EXPECT_EQ(OpenSslResult(0x80000002UL), 0xFFFFFFFF80000002ull);
  EXPECT_EQ(PxaErrorReason(OpenSslResult(0x80000002UL)), "undefined error");
}

}  // namespace
}  // namespace QVCryptoService
