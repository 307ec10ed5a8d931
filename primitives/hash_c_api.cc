#include <qvcryptoservice/qvcrypto_c.h>

#include "primitives/evp_algorithms.h"

#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

// The record behind a QVHashCtx handle. The magic lets the functions refuse pointers that were
// never handed out by QVHashInitCtx (or were already finished).
struct QVHashCtxRecord {
  std::uint32_t magic;
  EVP_MD_CTX* digest;
};

namespace {
constexpr std::uint32_t kHashCtxMagic = 0xA0F0C0D0U;

bool HasMagic(const QVHashCtxRecord* record) {
  std::uint32_t magic = 0;
  std::memcpy(&magic, record, sizeof magic);
  return magic == kHashCtxMagic;
}
}  // namespace

extern "C" {

QVHashCtx QVHashInitCtx(void) {
  // The handle crosses a C boundary, so ownership leaves the smart pointer on success only.
  std::unique_ptr<QVHashCtxRecord> record(new (std::nothrow) QVHashCtxRecord{kHashCtxMagic, EVP_MD_CTX_new()});
  if (!record) {
    return nullptr;
  }
  if (record->digest == nullptr || EVP_MD_CTX_reset(record->digest) != 1 ||
      EVP_DigestInit_ex(record->digest, QVCryptoService::FindDigest(SN_sha256), nullptr) != 1) {
    EVP_MD_CTX_free(record->digest);
    return nullptr;
  }
  return record.release();
}

bool QVHashUpdate(QVHashCtx handle, const unsigned char* data, uint64_t len) {
  if (handle == nullptr || !HasMagic(handle) || (data == nullptr && len != 0)) {
    return false;
  }
  return EVP_DigestUpdate(handle->digest, data, static_cast<std::size_t>(len)) == 1;
}

bool QVHashFinal(QVHashCtx handle, unsigned char* out) {
  if (handle == nullptr || !HasMagic(handle) || out == nullptr) {
    return false;
  }
  if (EVP_DigestFinal_ex(handle->digest, out, nullptr) != 1) {
    return false;
  }
  EVP_MD_CTX_free(handle->digest);
  // Clear the magic so a second QVHashFinal on a stale copy of the pointer is not mistaken
  // for a live handle while the allocator still holds the bytes.
  handle->magic = 0;
  std::unique_ptr<QVHashCtxRecord> owned(handle);
  return true;
}

}  // extern "C"
