#include "keystore_db/key_wrap.h"

#include "keystore_db/field_encoding.h"

#include "primitives/ossl_ptr.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>

namespace QVCryptoService::keystore_db {
namespace {

// The wrap format changed when the keystore id joined the associated data; the master check's
// did not.
constexpr std::uint8_t kKeyFormat = 0x02;
constexpr std::uint8_t kCheckFormat = 0x01;
constexpr std::size_t kNonceLength = 12;
constexpr std::size_t kTagLength = 16;
constexpr std::string_view kKeyContext = "QVKeystoreDb key v2";
constexpr std::string_view kCheckContext = "QVKeystoreDb master key check v1";

// Length-prefixed fields, so that no two different rows produce the same associated data.
std::string AssociatedData(const KeyBinding& binding) {
  std::string data(kKeyContext);
  AppendField(data, binding.keystoreId);
  AppendField(data, binding.name);
  AppendNumber32(data, binding.version);
  AppendField(data, binding.algorithm);
  AppendNumber32(data, binding.keyLength);
  return data;
}

const unsigned char* Bytes(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

bool Seal(const SecureBlock& masterKey, std::uint8_t format, std::string_view aad, const std::uint8_t* plain,
          std::size_t length, std::string& sealed) {
  if (masterKey.size() != kMasterKeyLength || length > static_cast<std::size_t>(INT_MAX) - 32 ||
      aad.size() > static_cast<std::size_t>(INT_MAX)) {
    return false;
  }
  std::string out(1 + kNonceLength + length + kTagLength, '\0');
  auto* base = reinterpret_cast<unsigned char*>(out.data());
  base[0] = format;
  unsigned char* nonce = base + 1;
  unsigned char* body = nonce + kNonceLength;
  if (RAND_bytes(nonce, static_cast<int>(kNonceLength)) != 1) {
    return false;
  }
  const CipherCtxPtr context(EVP_CIPHER_CTX_new());
  int written = 0;
  int finalWritten = 0;
  if (!context || EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, masterKey.data(), nonce) != 1 ||
      EVP_EncryptUpdate(context.get(), nullptr, &written, Bytes(aad), static_cast<int>(aad.size())) != 1 ||
      (length > 0 && EVP_EncryptUpdate(context.get(), body, &written, plain, static_cast<int>(length)) != 1) ||
      EVP_EncryptFinal_ex(context.get(), body + length, &finalWritten) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagLength), body + length) != 1) {
    return false;
  }
  sealed = std::move(out);
  return true;
}

// Opens into locked memory; the plain bytes reach `plain` only after the tag has been checked.
bool Open(const SecureBlock& masterKey, std::uint8_t format, std::string_view aad, const std::string& sealed,
          std::size_t expectedLength, SecureBlock& plain) {
  if (masterKey.size() != kMasterKeyLength || sealed.size() != 1 + kNonceLength + expectedLength + kTagLength ||
      static_cast<std::uint8_t>(sealed[0]) != format || aad.size() > static_cast<std::size_t>(INT_MAX)) {
    return false;
  }
  const auto* nonce = Bytes(sealed) + 1;
  const auto* body = nonce + kNonceLength;
  // The tag is copied: the context's control call takes a writable pointer.
  unsigned char tag[kTagLength];
  std::copy(body + expectedLength, body + expectedLength + kTagLength, tag);
  SecureBlock opened(expectedLength + 1);  // never empty, so data() is a real buffer
  const CipherCtxPtr context(EVP_CIPHER_CTX_new());
  int written = 0;
  const bool ok =
      context && EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, masterKey.data(), nonce) == 1 &&
      EVP_DecryptUpdate(context.get(), nullptr, &written, Bytes(aad), static_cast<int>(aad.size())) == 1 &&
      (expectedLength == 0 ||
       EVP_DecryptUpdate(context.get(), opened.data(), &written, body, static_cast<int>(expectedLength)) == 1) &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagLength), tag) == 1 &&
      EVP_DecryptFinal_ex(context.get(), opened.data() + expectedLength, &written) == 1;
  if (!ok) {
    return false;
  }
  opened.resize(expectedLength);
  plain = std::move(opened);
  return true;
}

}  // namespace

bool WrapKey(const SecureBlock& masterKey, const KeyBinding& binding, const SecureBlock& key, std::string& wrapped) {
  if (binding.keyLength < 0 || key.size() != static_cast<std::size_t>(binding.keyLength)) {
    return false;
  }
  return Seal(masterKey, kKeyFormat, AssociatedData(binding), key.data(), key.size(), wrapped);
}

bool UnwrapKey(const SecureBlock& masterKey, const KeyBinding& binding, const std::string& wrapped, SecureBlock& key) {
  if (binding.keyLength <= 0) {
    return false;
  }
  return Open(masterKey, kKeyFormat, AssociatedData(binding), wrapped, static_cast<std::size_t>(binding.keyLength),
              key);
}

bool MakeMasterCheck(const SecureBlock& masterKey, std::string& check) {
  return Seal(masterKey, kCheckFormat, kCheckContext, nullptr, 0, check);
}

bool VerifyMasterCheck(const SecureBlock& masterKey, const std::string& check) {
  SecureBlock nothing;
  return Open(masterKey, kCheckFormat, kCheckContext, check, 0, nothing);
}

}  // namespace QVCryptoService::keystore_db
