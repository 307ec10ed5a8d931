#include <qvcryptoservice/cipher_meta.h>

#include <utility>

namespace QVCryptoService {

CipherMeta_t::CipherMeta_t() = default;
CipherMeta_t::CipherMeta_t(const CipherMeta_t& other) = default;

CipherMeta_t::CipherMeta_t(CipherMeta_t&& other) noexcept
    : version(other.version),
      cipherName(std::exchange(other.cipherName, {})),
      iv(std::exchange(other.iv, {})),
      keyName(std::exchange(other.keyName, {})),
      keyVersion(other.keyVersion),
      salt(std::exchange(other.salt, {})),
      iterations(other.iterations),
      digestName(std::exchange(other.digestName, {})) {}

CipherMeta_t& CipherMeta_t::operator=(const CipherMeta_t& other) = default;

CipherMeta_t& CipherMeta_t::operator=(CipherMeta_t&& other) noexcept {
  version = other.version;
  keyVersion = other.keyVersion;
  iterations = other.iterations;
  if (this != &other) {
    cipherName = std::exchange(other.cipherName, {});
    iv = std::exchange(other.iv, {});
    keyName = std::exchange(other.keyName, {});
    salt = std::exchange(other.salt, {});
    digestName = std::exchange(other.digestName, {});
  }
  return *this;
}

CipherMeta_t::~CipherMeta_t() = default;

}  // namespace QVCryptoService
