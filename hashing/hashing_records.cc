#include <qvcryptoservice/hashing_records.h>

#include <utility>

namespace QVCryptoService {

HashingData_t::HashingData_t() = default;
HashingData_t::HashingData_t(const HashingData_t& other) = default;
HashingData_t::HashingData_t(HashingData_t&& other) noexcept
    : version(other.version),
      iterations(other.iterations),
      digestName(std::exchange(other.digestName, {})),
      salt(std::exchange(other.salt, {})),
      digest(std::exchange(other.digest, {})) {}
HashingData_t& HashingData_t::operator=(const HashingData_t& other) = default;
HashingData_t& HashingData_t::operator=(HashingData_t&& other) noexcept {
  version = other.version;
  iterations = other.iterations;
  if (this != &other) {
    digestName = std::exchange(other.digestName, {});
    salt = std::exchange(other.salt, {});
    digest = std::exchange(other.digest, {});
  }
  return *this;
}
HashingData_t::~HashingData_t() = default;

SigningData_t::SigningData_t() = default;
SigningData_t::SigningData_t(const SigningData_t& other) = default;
SigningData_t::SigningData_t(SigningData_t&& other) noexcept
    : version(other.version),
      digestName(std::exchange(other.digestName, {})),
      keyName(std::exchange(other.keyName, {})),
      keyVersion(other.keyVersion),
      hmac(std::exchange(other.hmac, {})) {}
SigningData_t& SigningData_t::operator=(const SigningData_t& other) = default;
SigningData_t& SigningData_t::operator=(SigningData_t&& other) noexcept {
  version = other.version;
  keyVersion = other.keyVersion;
  if (this != &other) {
    digestName = std::exchange(other.digestName, {});
    keyName = std::exchange(other.keyName, {});
    hmac = std::exchange(other.hmac, {});
  }
  return *this;
}
SigningData_t::~SigningData_t() = default;

}  // namespace QVCryptoService
