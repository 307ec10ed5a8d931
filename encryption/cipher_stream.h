#pragma once

// A cipher run piece by piece: the streaming counterpart of EVPEncrypt and EVPDecrypt for a key
// and IV that fit the cipher, with the same padding and the same OpenSSL failures.

#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include "primitives/ossl_ptr.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService {

class CipherStream {
 public:
  // Room an Update or Finish may write beyond its input: one block.
  static constexpr std::size_t kRoom = 32;

  // Start sets the cipher up; PXA_ERR_UNSUPPORTED_CIPHER for an unknown name, and the
  // library's answer for key or IV lengths that do not fit.
  PxaResult Start(const std::string& cipherName, const SecureBlock& key, std::span<const std::uint8_t> iv,
                  bool encrypt);
  // Update takes `in` (PXA_ERR_INVALID_ARGUMENTS past OpenSSL's int counts) and writes up to in.size() + kRoom bytes to
  // `out`.
  PxaResult Update(std::span<const std::uint8_t> in, std::uint8_t* out, std::size_t& written);
  // Finish writes the last block (up to kRoom bytes) and checks the padding when decrypting.
  PxaResult Finish(std::uint8_t* out, std::size_t& written);

 private:
  CipherCtxPtr ctx_;
};

}  // namespace QVCryptoService
