// Sizes past OpenSSL's int are refused with PXA_ERR_INVALID_ARGUMENTS, never cut to their low
// bits. No test allocates gigabytes: the callers are checked with the bound lowered, and the
// pointer-and-length forms with lengths far beyond the buffer they are given.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "platform/task_memory.h"
#include "primitives/openssl_int.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr std::uint64_t kPastInt = static_cast<std::uint64_t>(INT_MAX) + 1;
// 4 GiB + 5: its low 32 bits are 5.
constexpr std::uint64_t kWrapsToFive = (std::uint64_t{1} << 32) + 5;

TEST(NarrowToOpenSslInt, GivesTheIntOnlyWhenValueAndRoomFit) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("crypto_openssl_int.tsv")) {
    const std::optional<int> narrowed = NarrowToOpenSslInt(std::stoull(row["value"]), std::stoull(row["room"]));
    EXPECT_EQ(narrowed ? std::to_string(*narrowed) : "refused", row["int"]) << row.where;
  }
}

// With the bound at 64 bytes, 100 bytes stand for an input past INT_MAX: each path must refuse
// them, and must not refuse them with the real bound (so the refusal is the length's doing).
// The pointer-and-length forms must refuse real lengths far past their buffer unread: reading
// past it would be caught by the sanitizers, if the process survived it.
TEST(OpenSslLengths, EveryPathRefusesWhatTheBoundDoesNotTake) {
  ASSERT_TRUE(InitLibrary());
  ASSERT_TRUE(SetKeystore("ZKSystem", std::make_shared<QVKeystoreStatic>()));
  const std::string input(100, 'x');
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(input.data());
  const SecureBlock key(32, 7);
  const std::vector<std::string> groupSecrets(5, std::string(32, 's'));
  std::string metaJson;
  std::vector<std::uint8_t> unused;
  ASSERT_EQ(EncryptWithPassword(bytes, 16, "password", metaJson, unused), PXA_OK);
  std::string iv;
  std::string out;
  std::array<unsigned char, 32> derived{};
  std::vector<std::uint8_t> plain(input.size());
  std::size_t length = 0;
  struct Path {
    const char* name;
    std::function<PxaResult()> call;
  };
  const Path paths[] = {
      {"EVPEncrypt", [&] { return EVPEncrypt("aes-256-cbc", key, iv, input, out); }},
      {"EVPDecrypt", [&] { return EVPDecrypt("aes-256-cbc", key, std::string(16, 'i'), input, out); }},
      {"PBKDF2_HMAC", [&] { return PBKDF2_HMAC("sha256", input.c_str(), bytes, 16, 1, 32, derived.data()); }},
      {"EncryptData", [&] { return EncryptData(input, out, ""); }},
      {"EncryptWithPassword", [&] { return EncryptWithPassword(input, "password", out); }},
      {"DecryptWithPassword",
       [&] { return DecryptWithPassword(metaJson, bytes, input.size(), "password", plain.data(), length); }},
      {"CreateHMAC", [&] { return CreateHMAC(input, out); }},
      {"CreateDigest", [&] { return CreateDigest(input, out); }},
      {"CreatePasswordHash", [&] { return CreatePasswordHash(input, out); }},
      {"EncryptBySSV",
       [&] { return QVSSVCrypto::EncryptBySSV(groupSecrets, SecureBlock(input.begin(), input.end()), out); }},
      {"QVPBEncrypt",
       [&] {
         char* text = nullptr;
         const std::uint8_t ok = QVPBEncrypt(input.c_str(), &text, "password");
         platform::FreeCallerMemory(text);
         return ok == 1 ? PXA_OK : PXA_ERR_INVALID_ARGUMENTS;
       }},
      {"base64_decode",
       [&] { return base64_decode(std::string(100, 'A')).empty() ? PXA_ERR_INVALID_ARGUMENTS : PXA_OK; }},
  };
  for (const Path& path : paths) {
    EXPECT_NE(path.call(), PXA_ERR_INVALID_ARGUMENTS) << path.name << " with the real bound";
    const std::uint64_t realLimit = SetOpenSslIntLimitForTesting(64);
    EXPECT_EQ(path.call(), PXA_ERR_INVALID_ARGUMENTS) << path.name << " past the bound";
    SetOpenSslIntLimitForTesting(realLimit);
  }
  for (const std::uint64_t huge : {kPastInt, kWrapsToFive, std::uint64_t{SIZE_MAX}}) {
    SCOPED_TRACE(huge);
    EXPECT_EQ(EncryptData(bytes, huge, out, ""), PXA_ERR_INVALID_ARGUMENTS);
    EXPECT_EQ(EncryptWithPassword(bytes, huge, "password", out), PXA_ERR_INVALID_ARGUMENTS);
    EXPECT_EQ(EncryptWithPassword(bytes, huge, "password", out, unused), PXA_ERR_INVALID_ARGUMENTS);
    EXPECT_EQ(DecryptWithPassword(metaJson, bytes, huge, "password", plain.data(), length), PXA_ERR_INVALID_ARGUMENTS);
    EXPECT_EQ(CreateHMAC(bytes, huge, out), PXA_ERR_INVALID_ARGUMENTS);
    EXPECT_FALSE(VerifyHMAC(bytes, huge, out));
  }
}

}  // namespace
}  // namespace QVCryptoService
