#include "bench/openssl_baseline.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <memory>

namespace qvbench {
namespace {

struct CipherCtxFree {
  void operator()(EVP_CIPHER_CTX* ctx) const { EVP_CIPHER_CTX_free(ctx); }
};
using CipherCtx = std::unique_ptr<EVP_CIPHER_CTX, CipherCtxFree>;

bool RunAes(const std::uint8_t* key, const std::uint8_t* iv, const std::uint8_t* in, std::size_t length, Bytes& out,
            int encrypt) {
  const CipherCtx ctx(EVP_CIPHER_CTX_new());
  out.resize(length + kAesIvLength);
  int updated = 0;
  int finished = 0;
  const bool ok = ctx && EVP_CipherInit_ex(ctx.get(), EVP_aes_256_cbc(), nullptr, key, iv, encrypt) == 1 &&
                  EVP_CipherUpdate(ctx.get(), out.data(), &updated, in, static_cast<int>(length)) == 1 &&
                  EVP_CipherFinal_ex(ctx.get(), out.data() + updated, &finished) == 1;
  out.resize(ok ? static_cast<std::size_t>(updated + finished) : 0);
  return ok;
}

}  // namespace

bool RawAesEncrypt(const std::uint8_t* key, const std::uint8_t* plain, std::size_t length, std::uint8_t* iv,
                   Bytes& out) {
  return RawRandom(iv, kAesIvLength) && RunAes(key, iv, plain, length, out, 1);
}

bool RawAesDecrypt(const std::uint8_t* key, const std::uint8_t* iv, const Bytes& cipher, Bytes& out) {
  return RunAes(key, iv, cipher.data(), cipher.size(), out, 0);
}

bool RawPasswordKey(const char* password, const std::uint8_t* salt, std::size_t saltLength, std::uint8_t* key) {
  return PKCS5_PBKDF2_HMAC(password, -1, salt, static_cast<int>(saltLength), kPasswordIterations, EVP_sha256(),
                           static_cast<int>(kAesKeyLength), key) == 1;
}

bool RawSha256(const std::uint8_t* data, std::size_t length, std::uint8_t* out) {
  return EVP_Digest(data, length, out, nullptr, EVP_sha256(), nullptr) == 1;
}

bool RawHmacSha256(const std::uint8_t* key, std::size_t keyLength, const std::uint8_t* data, std::size_t length,
                   std::uint8_t* out) {
  return HMAC(EVP_sha256(), key, static_cast<int>(keyLength), data, length, out, nullptr) != nullptr;
}

bool RawRandom(std::uint8_t* out, std::size_t length) { return RAND_bytes(out, static_cast<int>(length)) == 1; }

}  // namespace qvbench
