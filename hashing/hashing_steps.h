#pragma once

// Steps that the one-call and the streaming forms of hashing and signing share.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/result.h>

#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace QVCryptoService {

// Digest of `parts` concatenated, or the OpenSSL-family failure.
struct DigestOutcome {
  PxaResult result = PXA_OK;
  std::vector<std::uint8_t> value;
};
DigestOutcome DigestOf(const EVP_MD* digest, std::initializer_list<std::pair<const std::uint8_t*, std::size_t>> parts);

// SameBytes compares without an early exit; the answers are those of an ordinary comparison.
bool SameBytes(const std::vector<std::uint8_t>& computed, const std::vector<std::uint8_t>& recorded);

// SaltedDigestRecord fills a salted digest's record from the digest of the data (`inner`): the
// digest of the salt followed by it. PXA_ERR_UNSUPPORTED_DIGEST for an unknown name; `record` is
// untouched on failure.
PxaResult SaltedDigestRecord(const std::string& digestName, std::span<const std::uint8_t> salt,
                             std::span<const std::uint8_t> inner, HashingData_t& record);

// FillChecksumRecord fills a checksum's record: the plain digest, no salt.
void FillChecksumRecord(const std::string& digestName, std::vector<std::uint8_t> digest, HashingData_t& record);

// FetchSigningKey gives the current version of `keyName` in the default keystore, for a known
// `digestName`: all 64 bits set when that keystore is not registered, the keystore's code under
// family 1 when the key cannot be had, PXA_ERR_UNSUPPORTED_DIGEST for an unknown digest.
PxaResult FetchSigningKey(CQVKeystoreMgr& keystores, const std::string& digestName, const std::string& keyName,
                          SecureBlock& key, QVKeyControlData& ctl);

// FillSigningRecord fills an HMAC's record.
void FillSigningRecord(const std::string& digestName, const std::string& keyName, std::int32_t keyVersion,
                       std::vector<std::uint8_t> hmac, SigningData_t& record);

}  // namespace QVCryptoService
