#include "hashing/hashing_steps.h"

#include "frame/result_compose.h"
#include "primitives/evp_algorithms.h"
#include "primitives/ossl_ptr.h"

#include <openssl/crypto.h>

#include <array>

namespace QVCryptoService {

DigestOutcome DigestOf(const EVP_MD* digest, std::initializer_list<std::pair<const std::uint8_t*, std::size_t>> parts) {
  DigestOutcome outcome;
  MdCtxPtr ctx(EVP_MD_CTX_new());
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> out{};
  unsigned int written = 0;
  bool ok = ctx && EVP_MD_CTX_reset(ctx.get()) == 1 && EVP_DigestInit_ex(ctx.get(), digest, nullptr) == 1;
  for (const auto& [data, size] : parts) {
    static const std::uint8_t kNothing = 0;
    ok = ok && EVP_DigestUpdate(ctx.get(), data != nullptr ? data : &kNothing, size) == 1;
  }
  ok = ok && EVP_DigestFinal_ex(ctx.get(), out.data(), &written) == 1;
  if (!ok) {
    outcome.result = LastOpenSslResult();
    return outcome;
  }
  outcome.value.assign(out.begin(), out.begin() + written);
  return outcome;
}

bool SameBytes(const std::vector<std::uint8_t>& computed, const std::vector<std::uint8_t>& recorded) {
  return computed.size() == recorded.size() &&
         (computed.empty() || CRYPTO_memcmp(computed.data(), recorded.data(), computed.size()) == 0);
}

PxaResult SaltedDigestRecord(const std::string& digestName, std::span<const std::uint8_t> salt,
                             std::span<const std::uint8_t> inner, HashingData_t& record) {
  const EVP_MD* digest = FindDigest(digestName.c_str());
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  DigestOutcome outer = DigestOf(digest, {{salt.data(), salt.size()}, {inner.data(), inner.size()}});
  if (outer.result != PXA_OK) {
    return outer.result;
  }
  record.version = 1;
  record.digestName = digestName;
  record.salt.assign(salt.begin(), salt.end());
  record.digest = std::move(outer.value);
  return PXA_OK;
}

void FillChecksumRecord(const std::string& digestName, std::vector<std::uint8_t> digest, HashingData_t& record) {
  record.version = 1;
  record.digestName = digestName;
  record.digest = std::move(digest);
}

PxaResult FetchSigningKey(CQVKeystoreMgr& keystores, const std::string& digestName, const std::string& keyName,
                          SecureBlock& key, QVKeyControlData& ctl) {
  const std::shared_ptr<IQVKeyStore> store = keystores.GetKeystore(kDefaultKeystoreName);
  if (!store) {
    return kKeystoreMissingResult;
  }
  if (const std::int32_t code = store->getKey(keyName, key, ctl, 0); code != KS_SUCCESS) {
    return KeystoreResult(code);
  }
  if (FindDigest(digestName.c_str()) == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  return PXA_OK;
}

void FillSigningRecord(const std::string& digestName, const std::string& keyName, std::int32_t keyVersion,
                       std::vector<std::uint8_t> hmac, SigningData_t& record) {
  record.version = 1;
  record.digestName = digestName;
  record.keyName = keyName;
  record.keyVersion = keyVersion;
  record.hmac = std::move(hmac);
}

}  // namespace QVCryptoService
