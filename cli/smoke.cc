// qvcrypto_smoke exercises the exported primitives end to end through the shared library and
// prints what it did; it exits non-zero when any step does not give the expected result.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <cstdio>
#include <string>

using namespace QVCryptoService;

namespace {

int g_failures = 0;

void Report(const char* step, bool ok, const std::string& detail) {
  std::printf("%-28s %s  %s\n", step, ok ? "ok  " : "FAIL", detail.c_str());
  if (!ok) {
    ++g_failures;
  }
}

std::string Hex(const unsigned char* data, std::size_t size) {
  std::string hex;
  char digits[3];
  for (std::size_t i = 0; i < size; ++i) {
    std::snprintf(digits, sizeof digits, "%02x", data[i]);
    hex += digits;
  }
  return hex;
}

}  // namespace

int main() {
  SecureBlock key(static_cast<std::size_t>(EVPGetCipherKeyLength("aes-256-cbc")));
  Report("random key", EVPRandomBytes(key.data(), static_cast<std::uint32_t>(key.size())),
         std::to_string(key.size()) + " bytes");

  const std::string plain = "The quick brown fox jumps over the lazy dog";
  std::string iv;
  std::string cipherText;
  const PxaResult encrypted = EVPEncrypt("aes-256-cbc", key, iv, plain, cipherText);
  Report("aes-256-cbc encrypt", encrypted == PXA_OK,
         PxaErrorReason(encrypted) + ", " + std::to_string(cipherText.size()) + " bytes");
  std::string decrypted;
  const PxaResult decryptedResult = EVPDecrypt("aes-256-cbc", key, iv, cipherText, decrypted);
  Report("aes-256-cbc decrypt", decryptedResult == PXA_OK && decrypted == plain, PxaErrorReason(decryptedResult));

  SecureBlock wrongKey(key.size(), 0x42);
  std::string garbage;
  const PxaResult wrong = EVPDecrypt("aes-256-cbc", wrongKey, iv, cipherText, garbage);
  Report("decrypt with wrong key", wrong != PXA_OK,
         "0x" + Hex(reinterpret_cast<const unsigned char*>(&wrong), 0) + std::to_string(wrong >> 32) + ": " +
             PxaErrorReason(wrong));

  unsigned char digest[64];
  int digestLen = sizeof digest;
  const auto* bytes = reinterpret_cast<const unsigned char*>(plain.data());
  const PxaResult digested = EVPDigest("sha256", bytes, static_cast<int>(plain.size()), digest, digestLen);
  const std::string digestHex = Hex(digest, static_cast<std::size_t>(digestLen));
  Report("sha256",
         digested == PXA_OK && digestHex == "d7a8fbb307d7809469ca9abcb0082e4f8d5651e46d3cdb762d02d0bf37c9e592",
         digestHex);

  QVHashCtx ctx = QVHashInitCtx();
  unsigned char streamed[32];
  const bool streamOk = ctx != nullptr && QVHashUpdate(ctx, bytes, 10) &&
                        QVHashUpdate(ctx, bytes + 10, plain.size() - 10) && QVHashFinal(ctx, streamed);
  Report("QVHash streaming sha256", streamOk && Hex(streamed, 32) == digestHex, Hex(streamed, 32));

  unsigned char mac[64];
  int macLen = sizeof mac;
  const PxaResult hmac = EVPHMAC("sha256", reinterpret_cast<const unsigned char*>("key"), 3, bytes,
                                 static_cast<int>(plain.size()), mac, macLen);
  const std::string macHex = Hex(mac, static_cast<std::size_t>(macLen));
  Report("hmac-sha256", hmac == PXA_OK && macHex == "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8",
         macHex);

  unsigned char derived[32];
  const PxaResult pbkdf2 =
      PBKDF2_HMAC("sha256", "password", reinterpret_cast<const unsigned char*>("salt"), 4, 1, 32, derived);
  const std::string derivedHex = Hex(derived, sizeof derived);
  Report("pbkdf2-hmac-sha256",
         pbkdf2 == PXA_OK && derivedHex == "120fb6cffcf8b32c43e7225256c4f837a86548c92ccc35480805987cb70be17b",
         derivedHex);

  const std::string encoded = base64_encode(bytes, static_cast<std::uint32_t>(plain.size()));
  Report("base64 round trip", base64_decode(encoded) == plain, encoded);
  Report("result text", PxaErrorReason(PXA_ERR_SSV_FILE) == "SSV file not found or corrupted",
         PxaErrorReason(PXA_ERR_SSV_FILE));

  std::printf("%s\n", g_failures == 0 ? "all steps passed" : "some steps failed");
  return g_failures == 0 ? 0 : 1;
}
