#include <qvcryptoservice/primitives.h>

#include "frame/result_compose.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"
#include "primitives/ossl_ptr.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <optional>
#include <string>

namespace QVCryptoService {
namespace {

enum class Direction : int { kDecrypt = 0, kEncrypt = 1 };

// The cipher core shared by every encryption path: validates the key length before the IV
// length, so that a caller with both wrong learns about the key first.
PxaResult RunCipher(const char* cipherName, const unsigned char* key, int keyLen, const unsigned char* iv, int ivLen,
                    const unsigned char* in, int inLen, unsigned char* out, int& outLen, Direction direction) {
  const int capacity = outLen;
  outLen = 0;
  const EVP_CIPHER* cipher = FindCipher(cipherName);
  if (cipher == nullptr) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  CipherCtxPtr ctx(EVP_CIPHER_CTX_new());
  if (!ctx) {
    return LastOpenSslResult();
  }
  const int encrypt = static_cast<int>(direction);
  const long long needed = static_cast<long long>(inLen) + (encrypt != 0 ? EVP_CIPHER_get_block_size(cipher) : 0);
  const bool argumentsFit = key != nullptr && (ivLen <= 0 || iv != nullptr) && inLen >= 0 &&
                            (inLen <= 0 || in != nullptr) && out != nullptr && capacity >= needed;
  // A call whose key, IV and buffers fit the cipher sets the cipher, key and IV up in one step.
  // Any other call takes the two-step set-up, which reports the first misfit in the order
  // callers have always seen (OpenSSL's own failure, then key, IV, arguments). A context holds
  // the cipher's own key and IV lengths before a key is set, so both paths agree on what fits.
  const bool lengthsFit = EVP_CIPHER_get_key_length(cipher) == keyLen && EVP_CIPHER_get_iv_length(cipher) == ivLen;
  if (!lengthsFit || !argumentsFit) {
    if (EVP_CipherInit_ex(ctx.get(), cipher, nullptr, nullptr, nullptr, encrypt) != 1) {
      ctx.reset();
      return LastOpenSslResult();
    }
    if (EVP_CIPHER_CTX_get_key_length(ctx.get()) != keyLen) {
      return PXA_ERR_MISMATCHED_KEY;
    }
    if (EVP_CIPHER_CTX_get_iv_length(ctx.get()) != ivLen) {
      return PXA_ERR_INVALID_IV_LEN;
    }
    if (!argumentsFit) {
      return PXA_ERR_INVALID_ARGUMENTS;
    }
  }
  int updateLen = 0;
  int finalLen = 0;
  static const unsigned char kNoInput = 0;
  bool ok = EVP_CipherInit_ex(ctx.get(), lengthsFit && argumentsFit ? cipher : nullptr, nullptr, key, iv, encrypt) == 1;
  if (ok) {
    // Stream modes have no padding to set; as before, the answer is not checked.
    EVP_CIPHER_CTX_set_padding(ctx.get(), 1);
  }
  ok = ok && EVP_CipherUpdate(ctx.get(), out, &updateLen, in != nullptr ? in : &kNoInput, inLen) == 1 &&
       EVP_CipherFinal_ex(ctx.get(), out + updateLen, &finalLen) == 1;
  ctx.reset();
  if (!ok) {
    outLen = updateLen;
    return LastOpenSslResult();
  }
  outLen = updateLen + finalLen;
  return PXA_OK;
}

}  // namespace

bool EVPRandomBytes(unsigned char* buf, std::uint32_t n) {
  const std::optional<int> count = NarrowToOpenSslInt(n);
  if (!count || (buf == nullptr && n != 0)) {
    return false;
  }
  return RAND_bytes(buf, *count) == 1;
}
bool EVPRandomIV(unsigned char* buf, std::uint32_t n) { return EVPRandomBytes(buf, n); }
bool EVPRandomSalt(unsigned char* buf, std::uint32_t n) { return EVPRandomBytes(buf, n); }

int EVPGetCipherKeyLength(const char* cipherName) {
  const EVP_CIPHER* cipher = FindCipher(cipherName);
  return cipher == nullptr ? -1 : EVP_CIPHER_get_key_length(cipher);
}

int EVPGetCipherIvLength(const char* cipherName) {
  const EVP_CIPHER* cipher = FindCipher(cipherName);
  return cipher == nullptr ? -1 : EVP_CIPHER_get_iv_length(cipher);
}

int EVPGetCipherBlockSize(const char* cipherName) {
  const EVP_CIPHER* cipher = FindCipher(cipherName);
  return cipher == nullptr ? -1 : EVP_CIPHER_get_block_size(cipher);
}

PxaResult EVPEncrypt(const char* cipherName, const unsigned char* key, int keyLen, unsigned char* iv, int ivLen,
                     const unsigned char* in, int inLen, unsigned char* out, int& outLen) {
  return RunCipher(cipherName, key, keyLen, iv, ivLen, in, inLen, out, outLen, Direction::kEncrypt);
}

PxaResult EVPDecrypt(const char* cipherName, const unsigned char* key, int keyLen, unsigned char* iv, int ivLen,
                     const unsigned char* in, int inLen, unsigned char* out, int& outLen) {
  return RunCipher(cipherName, key, keyLen, iv, ivLen, in, inLen, out, outLen, Direction::kDecrypt);
}

PxaResult EVPEncrypt(const char* cipherName, const SecureBlock& key, std::string& iv, const std::string& plain,
                     std::string& cipherText) {
  const EVP_CIPHER* cipher = FindCipher(cipherName);
  const int ivLength = cipher == nullptr ? -1 : EVP_CIPHER_get_iv_length(cipher);
  if (ivLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  const std::optional<int> keyLength = NarrowToOpenSslInt(key.size());
  const std::optional<int> plainLength = NarrowToOpenSslInt(plain.size(), kCipherSlack);
  if (!keyLength || !plainLength) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::string buffer(plain.size() + kCipherSlack, '\0');
  SecureBlock freshIv(static_cast<std::size_t>(ivLength));
  if (ivLength > 0) {
    (void)RAND_bytes(freshIv.data(), ivLength);
  }
  iv.assign(freshIv.begin(), freshIv.end());
  int written = *plainLength + static_cast<int>(kCipherSlack);
  const PxaResult result = RunCipher(cipherName, key.data(), *keyLength, freshIv.data(), ivLength,
                                     reinterpret_cast<const unsigned char*>(plain.data()), *plainLength,
                                     reinterpret_cast<unsigned char*>(buffer.data()), written, Direction::kEncrypt);
  cipherText.assign(buffer.data(), static_cast<std::size_t>(written));
  return result;
}

PxaResult EVPDecrypt(const char* cipherName, const SecureBlock& key, const std::string& iv, std::string cipherText,
                     std::string& plain) {
  const std::optional<int> keyLength = NarrowToOpenSslInt(key.size());
  const std::optional<int> ivLength = NarrowToOpenSslInt(iv.size());
  const std::optional<int> cipherLength = NarrowToOpenSslInt(cipherText.size(), kCipherSlack);
  if (!keyLength || !ivLength || !cipherLength) {
    plain.clear();
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  // The decrypted bytes pass through locked memory only; `plain` is what the caller asked for.
  SecureBlock buffer(cipherText.size() + kCipherSlack);
  int written = *cipherLength + static_cast<int>(kCipherSlack);
  const PxaResult result =
      RunCipher(cipherName, key.data(), *keyLength, reinterpret_cast<const unsigned char*>(iv.data()), *ivLength,
                reinterpret_cast<const unsigned char*>(cipherText.data()), *cipherLength, buffer.data(), written,
                Direction::kDecrypt);
  plain.assign(buffer.begin(), buffer.begin() + written);
  return result;
}

}  // namespace QVCryptoService
