#include "encryption/cipher_stream.h"

#include "frame/result_compose.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"

#include <openssl/evp.h>

#include <optional>

namespace QVCryptoService {

PxaResult CipherStream::Start(const std::string& cipherName, const SecureBlock& key, std::span<const std::uint8_t> iv,
                              bool encrypt) {
  const EVP_CIPHER* cipher = FindCipher(cipherName.c_str());
  if (cipher == nullptr) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  if (key.size() != static_cast<std::size_t>(EVP_CIPHER_get_key_length(cipher))) {
    return PXA_ERR_MISMATCHED_KEY;
  }
  if (iv.size() != static_cast<std::size_t>(EVP_CIPHER_get_iv_length(cipher))) {
    return PXA_ERR_INVALID_IV_LEN;
  }
  ctx_.reset(EVP_CIPHER_CTX_new());
  if (!ctx_ || EVP_CipherInit_ex(ctx_.get(), cipher, nullptr, key.data(), iv.data(), encrypt ? 1 : 0) != 1) {
    ctx_.reset();
    return LastOpenSslResult();
  }
  EVP_CIPHER_CTX_set_padding(ctx_.get(), 1);
  return PXA_OK;
}

PxaResult CipherStream::Update(std::span<const std::uint8_t> in, std::uint8_t* out, std::size_t& written) {
  written = 0;
  const std::optional<int> length = NarrowToOpenSslInt(in.size(), kRoom);
  if (!length) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  int count = 0;
  if (*length > 0 && EVP_CipherUpdate(ctx_.get(), out, &count, in.data(), *length) != 1) {
    ctx_.reset();
    return LastOpenSslResult();
  }
  written = static_cast<std::size_t>(count);
  return PXA_OK;
}

PxaResult CipherStream::Finish(std::uint8_t* out, std::size_t& written) {
  written = 0;
  int count = 0;
  const bool finished = EVP_CipherFinal_ex(ctx_.get(), out, &count) == 1;
  ctx_.reset();
  if (!finished) {
    return LastOpenSslResult();
  }
  written = static_cast<std::size_t>(count);
  return PXA_OK;
}

}  // namespace QVCryptoService
