#include "ssv/recovery_kit/kit_seal.h"

#include "hashing/argon2_kdf.h"
#include "primitives/ossl_ptr.h"

#include <openssl/evp.h>

namespace QVCryptoService {

namespace {

constexpr std::size_t kKitKeySize = 32;

bool DeriveKitKey(std::span<const std::uint8_t> passphrase, const KitKdf& kdf, SecureBlock& key) {
  key.assign(kKitKeySize, 0);
  return Argon2idDerive(passphrase, kdf.salt, kdf.parameters, key);
}

// The GCM cipher context set up with the kit's key and nonce and fed the clear header.
CipherCtxPtr StartGcm(const SecureBlock& key, const KitText& kit, const std::string& associated, bool encrypt) {
  CipherCtxPtr context(EVP_CIPHER_CTX_new());
  int written = 0;
  if (context == nullptr ||
      EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr, encrypt ? 1 : 0) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kit.header.nonce.size()), nullptr) !=
          1 ||
      EVP_CipherInit_ex(context.get(), nullptr, nullptr, key.data(), kit.header.nonce.data(), encrypt ? 1 : 0) != 1 ||
      EVP_CipherUpdate(context.get(), nullptr, &written, reinterpret_cast<const unsigned char*>(associated.data()),
                       static_cast<int>(associated.size())) != 1) {
    return nullptr;
  }
  return context;
}

}  // namespace

bool SealKitShare(std::span<const std::uint8_t> passphrase, std::span<const std::uint8_t> share, KitText& kit) {
  kit.sealed.clear();
  SecureBlock key;
  if (!DeriveKitKey(passphrase, kit.header.kdf, key) || share.size() > kMaxKitTextSize) {
    return false;
  }
  const CipherCtxPtr context = StartGcm(key, kit, KitAssociatedData(kit.header), true);
  std::vector<std::uint8_t> sealed(share.size() + kKitTagSize);
  int written = 0;
  int final = 0;
  if (context == nullptr ||
      EVP_CipherUpdate(context.get(), sealed.data(), &written, share.data(), static_cast<int>(share.size())) != 1 ||
      EVP_CipherFinal_ex(context.get(), sealed.data() + written, &final) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kKitTagSize),
                          sealed.data() + share.size()) != 1) {
    return false;
  }
  kit.sealed = std::move(sealed);
  return true;
}

bool OpenKitShare(std::span<const std::uint8_t> passphrase, const KitText& kit, const Argon2idParameters& minimum,
                  SecureBlock& share) {
  share.clear();
  SecureBlock key;
  const Argon2idParameters& cost = kit.header.kdf.parameters;
  if (cost.memoryKiB < minimum.memoryKiB || cost.passes < minimum.passes || kit.sealed.size() < kKitTagSize ||
      kit.sealed.size() > kMaxKitTextSize || !DeriveKitKey(passphrase, kit.header.kdf, key)) {
    return false;
  }
  const std::size_t size = kit.sealed.size() - kKitTagSize;
  const CipherCtxPtr context = StartGcm(key, kit, KitAssociatedData(kit.header), false);
  SecureBlock opened(size);
  // The tag is handed over as a copy: OpenSSL's interface takes a writable pointer.
  std::vector<std::uint8_t> tag(kit.sealed.end() - static_cast<std::ptrdiff_t>(kKitTagSize), kit.sealed.end());
  int written = 0;
  int final = 0;
  if (context == nullptr ||
      EVP_CipherUpdate(context.get(), opened.data(), &written, kit.sealed.data(), static_cast<int>(size)) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kKitTagSize), tag.data()) != 1 ||
      EVP_CipherFinal_ex(context.get(), opened.data() + written, &final) != 1) {
    return false;
  }
  share = std::move(opened);
  return true;
}

}  // namespace QVCryptoService
