#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvsigning.h>

#include "frame/result_compose.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <optional>

namespace QVCryptoService {
namespace {

struct HmacOutcome {
  PxaResult result = PXA_OK;
  std::vector<std::uint8_t> value;
};

// Longer data or keys would be cut by the int counts of the HMAC call; they are refused instead.
HmacOutcome ComputeHmac(const std::string& digestName, const SecureBlock& key, const std::uint8_t* data,
                        std::uint64_t length) {
  HmacOutcome outcome;
  const std::optional<int> keyLength = NarrowToOpenSslInt(key.size());
  const std::optional<int> dataLength = NarrowToOpenSslInt(length);
  if (!keyLength || !dataLength) {
    outcome.result = PXA_ERR_INVALID_ARGUMENTS;
    return outcome;
  }
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> out{};
  int outLength = static_cast<int>(out.size());
  outcome.result = EVPHMAC(digestName.c_str(), key.data(), *keyLength, data, *dataLength, out.data(), outLength);
  if (outcome.result == PXA_OK) {
    outcome.value.assign(out.begin(), out.begin() + outLength);
  }
  return outcome;
}

}  // namespace

QVSigning::QVSigning(const std::shared_ptr<CQVKeystoreMgr>& keystores) : keystores_(keystores) {}
QVSigning::QVSigning(const QVSigning& other) = default;
QVSigning& QVSigning::operator=(const QVSigning& other) = default;
QVSigning::~QVSigning() = default;

PxaResult QVSigning::generateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                                  std::uint64_t length, SigningData_t& record) const {
  const std::shared_ptr<IQVKeyStore> store = keystores_->GetKeystore(kDefaultKeystoreName);
  if (!store) {
    return kKeystoreMissingResult;
  }
  SecureBlock key;
  QVKeyControlData ctl;
  if (const std::int32_t code = store->getKey(keyName, key, ctl, 0); code != KS_SUCCESS) {
    return KeystoreResult(code);
  }
  if (FindDigest(digestName.c_str()) == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  if (!NarrowToOpenSslInt(length)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  HmacOutcome hmac = ComputeHmac(digestName, key, data, length);
  if (hmac.result != PXA_OK) {
    return hmac.result;
  }
  record.version = 1;
  record.digestName = digestName;
  record.keyName = keyName;
  record.keyVersion = ctl.version;
  record.hmac = std::move(hmac.value);
  return PXA_OK;
}

bool QVSigning::validateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                             std::uint64_t length, const SigningData_t& record) const {
  if (keyName != record.keyName || !NarrowToOpenSslInt(length)) {
    return false;
  }
  const std::shared_ptr<IQVKeyStore> store = keystores_->GetKeystore(kDefaultKeystoreName);
  if (!store) {
    return false;
  }
  SecureBlock key;
  QVKeyControlData ctl;
  if (store->getKey(keyName, key, ctl, record.keyVersion) != KS_SUCCESS) {
    return false;
  }
  const HmacOutcome hmac = ComputeHmac(digestName, key, data, length);
  // Compared without an early exit; the answer is that of an ordinary comparison.
  return hmac.result == PXA_OK && hmac.value.size() == record.hmac.size() &&
         CRYPTO_memcmp(hmac.value.data(), record.hmac.data(), hmac.value.size()) == 0;
}

PxaResult QVSigning::generateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                                  std::uint64_t length, std::string& serialized) const {
  SigningData_t record;
  const PxaResult result = generateHMAC(std::move(digestName), std::move(keyName), data, length, record);
  if (result == PXA_OK) {
    serialized = SerializeSigningData(record);
  }
  return result;
}

bool QVSigning::validateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                             std::uint64_t length, std::string serialized) const {
  SigningData_t record;
  return DeserializeSigningData(record, std::move(serialized)) &&
         validateHMAC(std::move(digestName), std::move(keyName), data, length, record);
}

}  // namespace QVCryptoService
