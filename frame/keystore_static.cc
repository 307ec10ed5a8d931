#include <qvcryptoservice/keystore_static.h>

#include "frame/fixed_names.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace QVCryptoService {
namespace {

// Both static keys, the cipher key and the HMAC key, are as long as the fixed cipher's key.
constexpr std::size_t kStaticKeyLength = kFixedCipherKeyLength;

// The first half of the static key. It must never change: every cipher text and HMAC made with
// the built-in keystore depends on it.
constexpr std::array<std::uint8_t, 16> kStaticKeyHead = {0xd7, 0x31, 0x5b, 0xaa, 0x81, 0x88, 0xa6, 0x26,
                                                         0x6f, 0x56, 0xc6, 0x8c, 0x10, 0x79, 0x17, 0x96};

}  // namespace

std::string QVKeystoreStatic::getPluginName() { return "QVStaticKeystore"; }
std::string QVKeystoreStatic::getPluginDescription() { return "PAX built-in keystore with static keys"; }
std::int32_t QVKeystoreStatic::initialize(const zkJson::Value& /*config*/) { return KS_SUCCESS; }
std::int32_t QVKeystoreStatic::refreshKeys(bool /*versionMissing*/) { return KS_ERR_NOT_SUPPORTED; }
std::int32_t QVKeystoreStatic::createKey(const std::string& /*name*/, const QVKeyControlData* /*ctl*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreStatic::createKeyPair(const std::string& /*name*/, const QVKeyControlData* /*ctl*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreStatic::destroyKey(const std::string& /*name*/, std::int32_t /*version*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreStatic::listKeys(bool /*flag*/, std::vector<QVKeyListEntry>& /*keys*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreStatic::reKey(const std::string& /*name*/) { return KS_ERR_NOT_SUPPORTED; }
std::int32_t QVKeystoreStatic::re_sync() { return KS_SUCCESS; }
std::int32_t QVKeystoreStatic::updateKey(const std::string& /*name*/, std::int32_t /*version*/, SecureBlock& /*key*/) {
  return KS_ERR_NOT_SUPPORTED;
}
std::int32_t QVKeystoreStatic::updateKeyMeta(const std::string& /*name*/, std::int32_t /*version*/,
                                             QVKeyControlData& /*ctl*/) {
  return KS_ERR_NOT_SUPPORTED;
}

std::int32_t QVKeystoreStatic::getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl,
                                      std::int32_t /*version*/) {
  if (name == kFixedEncryptionKey) {
    ctl.usageMask = 4;
    ctl.symmetric = true;
    ctl.algorithm = kFixedCipher;
  } else if (name == kFixedIntegrityKey) {
    ctl.symmetric = true;
    ctl.algorithm = kFixedDigest;
  } else {
    return KS_ERR_KEY_NOT_FOUND;
  }
  ctl.keyLength = static_cast<std::int32_t>(kStaticKeyLength);
  ctl.state = QV_KEY_ACTIVE;
  ctl.formatVersion = 0x01000000;
  ctl.rotationPolicy = 0;
  // Assembled here, in locked memory, so the whole key is never a constant in the binary.
  SecureBlock assembled(kStaticKeyLength, 0x01);
  std::copy(kStaticKeyHead.begin(), kStaticKeyHead.end(), assembled.begin());
  key.assign(assembled.begin(), assembled.end());
  return KS_SUCCESS;
}

}  // namespace QVCryptoService
