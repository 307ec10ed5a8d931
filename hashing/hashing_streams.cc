#include <qvcryptoservice/hashing_streams.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/secure_block.h>

#include "frame/fixed_names.h"
#include "frame/result_compose.h"
#include "hashing/hashing_steps.h"
#include "primitives/c_boundary.h"
#include "primitives/evp_algorithms.h"
#include "primitives/openssl_int.h"
#include "primitives/ossl_ptr.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr std::size_t kPieceSize = std::size_t{1} << 20;

using MacPtr = std::unique_ptr<EVP_MAC, OpenSslDeleter<EVP_MAC_free>>;
using MacCtxPtr = std::unique_ptr<EVP_MAC_CTX, OpenSslDeleter<EVP_MAC_CTX_free>>;

// EachPiece hands every piece of `data` to `take` (false from it: an OpenSSL failure). The data
// must stay within the one-call functions' int counts. What is hashed or signed may be secret: the
// piece is held in locked memory, wiped when it is released.
PxaResult EachPiece(ByteSource& data, const std::function<bool(const std::uint8_t*, std::size_t)>& take) {
  SecureBlock piece(kPieceSize);
  std::uint64_t total = 0;
  while (true) {
    std::size_t count = 0;
    if (!data.Read({piece.data(), piece.size()}, count) || count > piece.size()) {
      return PXA_ERR_UNSPECIFIED;
    }
    if (count == 0) {
      return PXA_OK;
    }
    total += count;
    if (!NarrowToOpenSslInt(total)) {
      return PXA_ERR_INVALID_ARGUMENTS;
    }
    if (!take(piece.data(), count)) {
      return LastOpenSslResult();
    }
  }
}

// DigestStream gives the digest of everything `data` holds.
PxaResult DigestStream(const EVP_MD* digest, ByteSource& data, std::vector<std::uint8_t>& value) {
  MdCtxPtr ctx(EVP_MD_CTX_new());
  if (!ctx || EVP_DigestInit_ex(ctx.get(), digest, nullptr) != 1) {
    return LastOpenSslResult();
  }
  if (const PxaResult result = EachPiece(
          data,
          [&](const std::uint8_t* bytes, std::size_t size) { return EVP_DigestUpdate(ctx.get(), bytes, size) == 1; });
      result != PXA_OK) {
    return result;
  }
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> out{};
  unsigned int written = 0;
  if (EVP_DigestFinal_ex(ctx.get(), out.data(), &written) != 1) {
    return LastOpenSslResult();
  }
  value.assign(out.begin(), out.begin() + written);
  return PXA_OK;
}

// HmacStream gives the HMAC (with the fixed digest) of everything `data` holds.
PxaResult HmacStream(const SecureBlock& key, ByteSource& data, std::vector<std::uint8_t>& value) {
  const MacPtr mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
  const MacCtxPtr ctx(mac ? EVP_MAC_CTX_new(mac.get()) : nullptr);
  std::array<char, 16> digestName{};
  std::copy_n(kFixedDigest, std::char_traits<char>::length(kFixedDigest), digestName.begin());
  const std::array<OSSL_PARAM, 2> parameters = {
      OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digestName.data(), 0), OSSL_PARAM_construct_end()};
  static const std::uint8_t kEmptyKey = 0;
  if (!ctx || EVP_MAC_init(ctx.get(), key.empty() ? &kEmptyKey : key.data(), key.size(), parameters.data()) != 1) {
    return LastOpenSslResult();
  }
  if (const PxaResult result = EachPiece(
          data,
          [&](const std::uint8_t* bytes, std::size_t size) { return EVP_MAC_update(ctx.get(), bytes, size) == 1; });
      result != PXA_OK) {
    return result;
  }
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> out{};
  std::size_t written = 0;
  if (EVP_MAC_final(ctx.get(), out.data(), &written, out.size()) != 1) {
    return LastOpenSslResult();
  }
  value.assign(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(written));
  return PXA_OK;
}

}  // namespace

PxaResult CreateChecksumStream(ByteSource& data, std::string& checksum) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    const EVP_MD* digest = FindDigest(kFixedDigest);
    if (digest == nullptr) {
      return PXA_ERR_UNSUPPORTED_DIGEST;
    }
    std::vector<std::uint8_t> value;
    if (const PxaResult result = DigestStream(digest, data, value); result != PXA_OK) {
      return result;
    }
    HashingData_t record;
    FillChecksumRecord(kFixedDigest, std::move(value), record);
    checksum = SerializeHashingData(record);
    return PXA_OK;
  });
}

PxaResult CreateDigestStream(ByteSource& data, std::string& digestText) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    const EVP_MD* digest = FindDigest(kFixedDigest);
    if (digest == nullptr) {
      return PXA_ERR_UNSUPPORTED_DIGEST;
    }
    std::vector<std::uint8_t> inner;
    if (const PxaResult result = DigestStream(digest, data, inner); result != PXA_OK) {
      return result;
    }
    std::array<std::uint8_t, kSaltLength> salt{};
    (void)RAND_bytes(salt.data(), kSaltLength);
    HashingData_t record;
    if (const PxaResult result = SaltedDigestRecord(kFixedDigest, salt, inner, record); result != PXA_OK) {
      return result;
    }
    digestText = SerializeHashingData(record);
    return PXA_OK;
  });
}

PxaResult CreateHMACStream(ByteSource& data, std::string& hmac) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    SecureBlock key;
    QVKeyControlData ctl;
    if (const PxaResult fetched =
            FetchSigningKey(*QVpax::getInstance()->GetKeystoreMgr(), kFixedDigest, kFixedIntegrityKey, key, ctl);
        fetched != PXA_OK) {
      return fetched;
    }
    std::vector<std::uint8_t> value;
    if (const PxaResult result = HmacStream(key, data, value); result != PXA_OK) {
      return result;
    }
    SigningData_t record;
    FillSigningRecord(kFixedDigest, kFixedIntegrityKey, ctl.version, std::move(value), record);
    hmac = SerializeSigningData(record);
    return PXA_OK;
  });
}

// The verifications keep the one-call forms' order of checks and their fail-open answers for a
// digest OpenSSL cannot compute (see QVHashing); data past the int counts is not verified.
bool VerifyChecksumStream(ByteSource& data, const std::string& checksum) {
  return RunForC(false, [&] {
    HashingData_t record;
    if (!DeserializeHashingData(record, checksum) || record.digestName != kFixedDigest) {
      return false;
    }
    std::vector<std::uint8_t> value;
    const PxaResult result = DigestStream(FindDigest(kFixedDigest), data, value);
    return result == PXA_OK ? SameBytes(value, record.digest) : (result >> 32) == PXA_FAMILY_OPENSSL;
  });
}

bool VerifyDigestStream(ByteSource& data, const std::string& digestText) {
  return RunForC(false, [&] {
    HashingData_t record;
    if (!DeserializeHashingData(record, digestText) || record.digestName != kFixedDigest) {
      return false;
    }
    const EVP_MD* digest = FindDigest(kFixedDigest);
    std::vector<std::uint8_t> inner;
    const PxaResult result = DigestStream(digest, data, inner);
    if (result != PXA_OK) {
      return (result >> 32) == PXA_FAMILY_OPENSSL;
    }
    const DigestOutcome outer =
        DigestOf(digest, {{record.salt.data(), record.salt.size()}, {inner.data(), inner.size()}});
    return outer.result != PXA_OK || SameBytes(outer.value, record.digest);
  });
}

bool VerifyHMACStream(ByteSource& data, const std::string& hmac) {
  return RunForC(false, [&] {
    SigningData_t record;
    if (!DeserializeSigningData(record, hmac) || record.keyName != kFixedIntegrityKey) {
      return false;
    }
    const std::shared_ptr<IQVKeyStore> store =
        QVpax::getInstance()->GetKeystoreMgr()->GetKeystore(kDefaultKeystoreName);
    SecureBlock key;
    QVKeyControlData ctl;
    if (!store || store->getKey(record.keyName, key, ctl, record.keyVersion) != KS_SUCCESS) {
      return false;
    }
    std::vector<std::uint8_t> value;
    return HmacStream(key, data, value) == PXA_OK && SameBytes(value, record.hmac);
  });
}

}  // namespace QVCryptoService
