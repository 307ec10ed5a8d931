#include "ssv/machine_binding.h"

#include "primitives/ossl_ptr.h"

#include <qvcryptoservice/secure_block.h>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <algorithm>
#include <array>

namespace QVCryptoService {

namespace {

using KdfPtr = std::unique_ptr<EVP_KDF, OpenSslDeleter<EVP_KDF_free>>;
using KdfCtxPtr = std::unique_ptr<EVP_KDF_CTX, OpenSslDeleter<EVP_KDF_CTX_free>>;

// DeriveBindingKey is HKDF-SHA256 of the SSV key with the binding's label, 32 bytes.
bool DeriveBindingKey(std::span<const std::uint8_t> ssvKey, SecureBlock& key) {
  const KdfPtr kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
  const KdfCtxPtr context(kdf ? EVP_KDF_CTX_new(kdf.get()) : nullptr);
  if (!context || ssvKey.empty()) {
    return false;
  }
  char digest[] = "SHA256";
  // The parameters only read these buffers; OpenSSL's interface takes them without const.
  std::array<OSSL_PARAM, 4> parameters{
      OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, const_cast<std::uint8_t*>(ssvKey.data()), ssvKey.size()),
      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, const_cast<char*>(kSsvBindingKeyLabel.data()),
                                        kSsvBindingKeyLabel.size()),
      OSSL_PARAM_construct_end(),
  };
  key.assign(kSsvBindingTagSize, 0);
  return EVP_KDF_derive(context.get(), key.data(), key.size(), parameters.data()) == 1;
}

}  // namespace

bool SealSsvBinding(std::string_view componentId, std::span<const std::uint8_t> ssvKey, std::string_view identity,
                    std::vector<std::uint8_t>& binding) {
  binding.clear();
  SecureBlock key;
  if (componentId.size() != kComponentIdSize || !DeriveBindingKey(ssvKey, key)) {
    return false;
  }
  std::vector<std::uint8_t> sealed;
  sealed.reserve(kSsvBindingSize);
  sealed.push_back(kSsvBindingVersion);
  sealed.insert(sealed.end(), componentId.begin(), componentId.end());
  std::vector<std::uint8_t> message(sealed);
  message.insert(message.end(), identity.begin(), identity.end());
  std::array<std::uint8_t, kSsvBindingTagSize> tag{};
  std::size_t tagSize = 0;
  if (EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(), message.data(), message.size(),
                tag.data(), tag.size(), &tagSize) == nullptr ||
      tagSize != tag.size()) {
    return false;
  }
  sealed.insert(sealed.end(), tag.begin(), tag.end());
  binding = std::move(sealed);
  return true;
}

SsvBindingAnswer JudgeSsvBinding(std::span<const std::uint8_t> binding, std::string_view componentId,
                                 std::span<const std::uint8_t> ssvKey, std::string_view identity) {
  if (binding.size() != kSsvBindingSize || binding[0] != kSsvBindingVersion) {
    return {SsvBindingState::kCannotTell, "the stored binding is not one this library reads"};
  }
  std::vector<std::uint8_t> expected;
  if (!SealSsvBinding(componentId, ssvKey, identity, expected)) {
    return {SsvBindingState::kCannotTell, "the binding of this record to this machine cannot be computed"};
  }
  const bool same = CRYPTO_memcmp(expected.data(), binding.data(), kSsvBindingSize) == 0;
  return {same ? SsvBindingState::kBoundToThisMachine : SsvBindingState::kCopiedFromAnotherMachine, {}};
}

bool SsvBindingNamesAnotherRecord(std::span<const std::uint8_t> binding, std::string_view componentId) {
  return binding.size() == kSsvBindingSize && binding[0] == kSsvBindingVersion &&
         !std::equal(componentId.begin(), componentId.end(), binding.begin() + 1,
                     binding.begin() + 1 + kComponentIdSize);
}

}  // namespace QVCryptoService
