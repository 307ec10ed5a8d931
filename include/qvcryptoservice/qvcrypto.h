#pragma once

// The symmetric encryption engine: keystore keys and passwords.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {

// IQVCryptoEngine is the encryption engine's interface. The order of its operations is part of
// the binary interface. The text and block forms call the raw forms through this interface, so a
// derived engine that replaces a raw form changes both.
class QVCS_EXPORT IQVCryptoEngine {
 public:
  // isQVCrypto returns true when `text` is this library's serialized cipher text.
  virtual bool isQVCrypto(std::string text) const = 0;

  // encrypt (raw form) encrypts `length` bytes under the current version of `keyName` from the
  // keystore `keystoreName` ("ZKSystem" when empty), filling `meta` and `cipherText`. Returns 0;
  // all 64 bits set when the keystore is not registered; a keystore-family value when the key
  // cannot be had; PXA_ERR_KEY_NOT_ACTIVE; PXA_ERR_MISMATCHED_KEY when the key is for another
  // cipher or of another length; PXA_ERR_UNSUPPORTED_CIPHER; or what EVPEncrypt returns. On
  // failure the outputs are untouched.
  virtual PxaResult encrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            const std::uint8_t* plain, std::size_t length, CipherMeta_t& meta,
                            std::vector<std::uint8_t>& cipherText) const = 0;
  // encrypt (block form) does the same and returns the serialized text (SeralizeCipherData).
  virtual PxaResult encrypt(std::string keystoreName, std::string cipherName, std::string keyName, SecureBlock plain,
                            std::string& cipherText) const = 0;
  // decrypt (text form) reverses the block form. PXA_ERR_CORRUPTED_DATA when the text cannot be
  // read, otherwise what the raw form returns. On failure `plain` is untouched.
  virtual PxaResult decrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            std::string cipherText, SecureBlock& plain) const = 0;
  // decrypt (raw form) searches the registered keystores for the version of `keyName` that
  // `meta` names; the key's state is not checked, so retired keys still decrypt. `out` must hold
  // `length` bytes and is written, with `outLength`, only on success. Returns 0;
  // PXA_ERR_INVALID_ARGUMENTS for 2 GiB or more; PXA_ERR_META_INCOMPATIBLE when the record
  // does not fit the call; all 64 bits set when no keystore is registered; a keystore-family
  // value; PXA_ERR_MISMATCHED_KEY; PXA_ERR_UNSUPPORTED_CIPHER; or what EVPDecrypt returns.
  virtual PxaResult decrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            const CipherMeta_t& meta, const std::uint8_t* cipherText, std::size_t length,
                            std::uint8_t* out, std::size_t& outLength) const = 0;

  // PBEncrypt (raw form) encrypts under a key derived from `password` (up to its first zero
  // byte) with PBKDF2-HMAC-SHA256, 10000 iterations and a fresh 16-byte salt.
  virtual PxaResult PBEncrypt(std::string cipherName, std::string password, const std::uint8_t* plain,
                              std::size_t length, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const = 0;
  // PBEncrypt (block form) returns the serialized text instead.
  virtual PxaResult PBEncrypt(std::string cipherName, std::string password, SecureBlock plain,
                              std::string& cipherText) const = 0;
  // PBDecrypt (text form) reverses the block form; PXA_ERR_CORRUPTED_DATA for an unreadable text.
  virtual PxaResult PBDecrypt(std::string cipherName, std::string password, std::string cipherText,
                              SecureBlock& plain) const = 0;
  // PBDecrypt (raw form) derives the key with the digest, salt and iterations of the record.
  virtual PxaResult PBDecrypt(std::string cipherName, std::string password, const CipherMeta_t& meta,
                              const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                              std::size_t& outLength) const = 0;

  // generateSecureRandom fills the first `count` bytes of `out`'s storage with random bytes,
  // growing its capacity when needed; it does not change `out`'s size, so callers size it first.
  virtual void generateSecureRandom(std::uint64_t count, SecureBlock& out) const = 0;
  // base64Encode and base64Decode are base64_encode and base64_decode (lengths cut to 32 bits).
  virtual std::string base64Encode(const std::uint8_t* data, std::uint64_t length) const = 0;
  virtual std::vector<std::uint8_t> base64Decode(std::string text) const = 0;

  virtual ~IQVCryptoEngine();
};

// QVCrypto is the library's encryption engine. It keeps no state but the keystore manager, so
// one engine serves any number of threads.
class QVCS_EXPORT QVCrypto : public IQVCryptoEngine {
 public:
  explicit QVCrypto(const std::shared_ptr<CQVKeystoreMgr>& keystores);
  QVCrypto(const QVCrypto& other);
  QVCrypto& operator=(const QVCrypto& other);
  ~QVCrypto() override;

  bool isQVCrypto(std::string text) const override;
  PxaResult encrypt(std::string keystoreName, std::string cipherName, std::string keyName, const std::uint8_t* plain,
                    std::size_t length, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const override;
  PxaResult encrypt(std::string keystoreName, std::string cipherName, std::string keyName, SecureBlock plain,
                    std::string& cipherText) const override;
  PxaResult decrypt(std::string keystoreName, std::string cipherName, std::string keyName, std::string cipherText,
                    SecureBlock& plain) const override;
  PxaResult decrypt(std::string keystoreName, std::string cipherName, std::string keyName, const CipherMeta_t& meta,
                    const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                    std::size_t& outLength) const override;
  PxaResult PBEncrypt(std::string cipherName, std::string password, const std::uint8_t* plain, std::size_t length,
                      CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const override;
  PxaResult PBEncrypt(std::string cipherName, std::string password, SecureBlock plain,
                      std::string& cipherText) const override;
  PxaResult PBDecrypt(std::string cipherName, std::string password, std::string cipherText,
                      SecureBlock& plain) const override;
  PxaResult PBDecrypt(std::string cipherName, std::string password, const CipherMeta_t& meta,
                      const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                      std::size_t& outLength) const override;
  void generateSecureRandom(std::uint64_t count, SecureBlock& out) const override;
  std::string base64Encode(const std::uint8_t* data, std::uint64_t length) const override;
  std::vector<std::uint8_t> base64Decode(std::string text) const override;

 private:
  std::shared_ptr<CQVKeystoreMgr> keystores_;
};

}  // namespace QVCryptoService
