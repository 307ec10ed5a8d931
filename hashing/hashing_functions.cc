#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/qvhashing.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/qvsigning.h>

#include "frame/fixed_names.h"

#include <memory>

namespace QVCryptoService {
namespace {

std::shared_ptr<QVHashing> Hashing() { return QVpax::getInstance()->HashingIntrf(); }
std::shared_ptr<QVSigning> Signing() { return QVpax::getInstance()->SigningIntrf(); }

// The 32-bit signed counts of the checksum and digest functions, widened as the engine expects
// (a negative count wraps to a huge length, which the engine refuses).
std::uint64_t Widen(std::int32_t length) { return static_cast<std::uint64_t>(static_cast<std::int64_t>(length)); }

const std::uint8_t* BytesOf(const std::string& text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

std::int32_t CountOf(const std::string& text) { return static_cast<std::int32_t>(text.size()); }

}  // namespace

PxaResult CreateChecksum(const std::uint8_t* data, std::int32_t length, std::string& checksum) {
  return Hashing()->generateCheckSum(kFixedDigest, data, Widen(length), checksum);
}
PxaResult CreateChecksum(const std::string& data, std::string& checksum) {
  return CreateChecksum(BytesOf(data), CountOf(data), checksum);
}
bool VerifyChecksum(const std::uint8_t* data, std::int32_t length, const std::string& checksum) {
  return Hashing()->validateCheckSum(kFixedDigest, data, Widen(length), checksum);
}
bool VerifyChecksum(const std::string& data, const std::string& checksum) {
  return VerifyChecksum(BytesOf(data), CountOf(data), checksum);
}

PxaResult CreateDigest(const std::uint8_t* data, std::int32_t length, std::string& digest) {
  return Hashing()->generateDigest(kFixedDigest, data, Widen(length), digest);
}
PxaResult CreateDigest(const std::string& data, std::string& digest) {
  return CreateDigest(BytesOf(data), CountOf(data), digest);
}
bool VerifyDigest(const std::uint8_t* data, std::int32_t length, const std::string& digest) {
  return Hashing()->validateDigest(kFixedDigest, data, Widen(length), digest);
}
bool VerifyDigest(const std::string& data, const std::string& digest) {
  return VerifyDigest(BytesOf(data), CountOf(data), digest);
}

PxaResult CreateDerivedKey(const std::string& password, std::string& keyBase64) {
  return Hashing()->generateDerivedKey(kFixedDigest, password, keyBase64);
}

PxaResult CreatePasswordHash(const std::string& password, std::string& passwordHash) {
  return Hashing()->generatePasswordHash(kFixedDigest, password, passwordHash);
}
bool VerifyPasswordHash(const std::string& password, const std::string& passwordHash) {
  return Hashing()->validatePasswordHash(kFixedDigest, password, passwordHash);
}

PxaResult CreateHMAC(const std::uint8_t* data, std::uint64_t length, std::string& hmac) {
  return Signing()->generateHMAC(kFixedDigest, kFixedIntegrityKey, data, length, hmac);
}
PxaResult CreateHMAC(const std::string& data, std::string& hmac) {
  return CreateHMAC(BytesOf(data), data.size(), hmac);
}
bool VerifyHMAC(const std::uint8_t* data, std::uint64_t length, const std::string& hmac) {
  return Signing()->validateHMAC(kFixedDigest, kFixedIntegrityKey, data, length, hmac);
}
bool VerifyHMAC(const std::string& data, const std::string& hmac) {
  return VerifyHMAC(BytesOf(data), data.size(), hmac);
}

}  // namespace QVCryptoService
