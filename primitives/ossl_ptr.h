#pragma once

// One owning pointer type per OpenSSL handle, so that no handle outlives its call by accident.

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <memory>

namespace QVCryptoService {

template <auto FreeFunction>
struct OpenSslDeleter {
  template <typename T>
  void operator()(T* handle) const noexcept {
    FreeFunction(handle);
  }
};

using CipherCtxPtr = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<EVP_CIPHER_CTX_free>>;
using MdCtxPtr = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter<EVP_MD_CTX_free>>;
using BioChainPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free_all>>;

}  // namespace QVCryptoService
