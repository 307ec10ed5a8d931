// OpenSSL 3 marks the HMAC_CTX interface deprecated; it is kept here because its error codes
// are the ones callers have always seen from this wrapper.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <qvcryptoservice/primitives.h>

#include "frame/result_compose.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"
#include "primitives/ossl_ptr.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <climits>
#include <cstring>
#include <memory>
#include <optional>

namespace QVCryptoService {
namespace {

using HmacCtxPtr = std::unique_ptr<HMAC_CTX, OpenSslDeleter<HMAC_CTX_free>>;

bool OutputFits(const EVP_MD* digest, const unsigned char* out, int outLen) {
  return out != nullptr && outLen >= EVP_MD_get_size(digest);
}

bool InputValid(const unsigned char* data, int len) { return len >= 0 && (len == 0 || data != nullptr); }

// OpenSSL treats a null key as "keep the previous key"; an empty key must still be a key.
const unsigned char* NonNull(const unsigned char* data) {
  static const unsigned char kEmpty = 0;
  return data != nullptr ? data : &kEmpty;
}

}  // namespace

PxaResult EVPDigest(const char* digestName, const unsigned char* data, int len, unsigned char* out, int& outLen) {
  const EVP_MD* digest = FindDigest(digestName);
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  if (!InputValid(data, len) || !OutputFits(digest, out, outLen)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  MdCtxPtr ctx(EVP_MD_CTX_new());
  unsigned int written = 0;
  const bool ok = ctx && EVP_MD_CTX_reset(ctx.get()) == 1 && EVP_DigestInit_ex(ctx.get(), digest, nullptr) == 1 &&
                  EVP_DigestUpdate(ctx.get(), NonNull(data), static_cast<std::size_t>(len)) == 1 &&
                  EVP_DigestFinal_ex(ctx.get(), out, &written) == 1;
  ctx.reset();
  if (!ok) {
    return LastOpenSslResult();
  }
  outLen = static_cast<int>(written);
  return PXA_OK;
}

PxaResult EVPHMAC(const char* digestName, const unsigned char* key, int keyLen, const unsigned char* data, int dataLen,
                  unsigned char* out, int& outLen) {
  const EVP_MD* digest = FindDigest(digestName);
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  if (!InputValid(key, keyLen) || !InputValid(data, dataLen) || !OutputFits(digest, out, outLen)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  HmacCtxPtr ctx(HMAC_CTX_new());
  unsigned int written = 0;
  const bool ok = ctx && HMAC_CTX_reset(ctx.get()) == 1 &&
                  HMAC_Init_ex(ctx.get(), NonNull(key), keyLen, digest, nullptr) == 1 &&
                  HMAC_Update(ctx.get(), NonNull(data), static_cast<std::size_t>(dataLen)) == 1 &&
                  HMAC_Final(ctx.get(), out, &written) == 1;
  ctx.reset();
  if (!ok) {
    return LastOpenSslResult();
  }
  outLen = static_cast<int>(written);
  return PXA_OK;
}

PxaResult PBKDF2_HMAC(const char* digestName, const char* password, const unsigned char* salt, int saltLen,
                      std::uint32_t iterations, int keyLen, unsigned char* out) {
  const EVP_MD* digest = FindDigest(digestName);
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  if (password == nullptr || !InputValid(salt, saltLen) || keyLen < 0 || (keyLen > 0 && out == nullptr)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  // OpenSSL takes the count and the password's length as signed ints; what does not fit is
  // refused rather than wrapped.
  const std::optional<int> passwordLength = NarrowToOpenSslInt(std::strlen(password));
  if (iterations > static_cast<std::uint32_t>(INT_MAX) || !passwordLength) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  if (PKCS5_PBKDF2_HMAC(password, *passwordLength, NonNull(salt), saltLen, static_cast<int>(iterations), digest, keyLen,
                        out) != 1) {
    return LastOpenSslResult();
  }
  return PXA_OK;
}

}  // namespace QVCryptoService
