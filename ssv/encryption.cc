// Encryption under the SSV key. Every call recovers the SSV afresh and deduces the key again: no
// key is cached, so it exists in memory only for the length of one call.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "frame/fixed_names.h"
#include "primitives/base64_codec.h"
#include "primitives/secret_string.h"
#include "ssv/log_lines.h"

#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr std::size_t kGroupCount = 5;

void Log(const char* function, const char* message) {
  ILogger::GetInstance()->LogStr(kSsvLogLevel, kSsvLogComponent, function, message);
}

// Holds the recovered group secrets and wipes them when the call ends.
class RecoveredSecrets {
 public:
  RecoveredSecrets() = default;
  RecoveredSecrets(const RecoveredSecrets&) = delete;
  RecoveredSecrets& operator=(const RecoveredSecrets&) = delete;
  ~RecoveredSecrets() {
    for (std::string& secret : secrets_) {
      WipeString(secret);
    }
  }
  std::vector<std::string>& get() { return secrets_; }

  // Recover recombines the engine's SSV into these secrets; on failure it logs that the SSV could
  // not be reconstructed (the keystore code is not passed on: callers only learn that the SSV is
  // unusable) and returns false.
  bool Recover(QVSSVCrypto& engine, const char* function) {
    if (engine.recoverSSV(secrets_) == KS_SUCCESS) {
      return true;
    }
    Log(function, "Failed to reconstruct the SSV info");
    return false;
  }

 private:
  std::vector<std::string> secrets_;
};

}  // namespace

PxaResult QVSSVCrypto::EncryptBySSV_Bin(const std::vector<std::string>& groupSecrets, const SecureBlock& plain,
                                        std::string& cipherText) {
  if (groupSecrets.size() != kGroupCount) {
    Log("QVCryptoService::QVSSVCrypto::EncryptBySSV_Bin", "The SSV is corrupted");
    return PXA_ERR_SSV_FILE;
  }
  const SecureBlock key = deduceKey(groupSecrets);
  std::string iv;
  std::string encrypted;
  // The plain text goes through an ordinary string only because the wrapper takes one; it is
  // wiped before it is released.
  std::string plainText(plain.begin(), plain.end());
  const PxaResult result = EVPEncrypt(kFixedCipher, key, iv, plainText, encrypted);
  WipeString(plainText);
  if (result != PXA_OK) {
    return result;
  }
  cipherText = iv + encrypted;
  return PXA_OK;
}

PxaResult QVSSVCrypto::EncryptBySSV(const std::vector<std::string>& groupSecrets, const SecureBlock& plain,
                                    std::string& cipherText) {
  std::string binary;
  const PxaResult result = EncryptBySSV_Bin(groupSecrets, plain, binary);
  if (result == PXA_OK) {
    std::string text;
    AppendBase64(text, reinterpret_cast<const std::uint8_t*>(binary.data()), binary.size());
    cipherText = std::move(text);
  }
  return result;
}

PxaResult QVSSVCrypto::QVEncrypt(const SecureBlock& plain, std::string& cipherText) {
  RecoveredSecrets secrets;
  if (!secrets.Recover(*this, "QVCryptoService::QVSSVCrypto::QVEncrypt")) {
    return PXA_ERR_SSV_FILE;
  }
  return EncryptBySSV(secrets.get(), plain, cipherText);
}

PxaResult QVSSVCrypto::QVEncrypt_Bin(const SecureBlock& plain, std::string& cipherText) {
  RecoveredSecrets secrets;
  if (!secrets.Recover(*this, "QVCryptoService::QVSSVCrypto::QVEncrypt_Bin")) {
    return PXA_ERR_SSV_FILE;
  }
  return EncryptBySSV_Bin(secrets.get(), plain, cipherText);
}

PxaResult QVSSVCrypto::QVDecrypt(const std::string& cipherText, SecureBlock& plain) {
  return QVDecrypt_Bin(base64_decode(cipherText), plain);
}

PxaResult QVSSVCrypto::QVDecrypt_Bin(const std::string& cipherText, SecureBlock& plain) {
  // Recovery comes first, so a machine without an SSV answers 11 whatever the input.
  RecoveredSecrets secrets;
  if (!secrets.Recover(*this, "QVCryptoService::QVSSVCrypto::QVDecrypt_Bin")) {
    return PXA_ERR_SSV_FILE;
  }
  if (cipherText.size() < kFixedCipherIvLength) {
    Log("QVCryptoService::QVSSVCrypto::QVDecrypt_Bin", "Invalid cipher text received");
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  const SecureBlock key = deduceKey(secrets.get());
  std::string decrypted;
  const PxaResult result = EVPDecrypt(kFixedCipher, key, cipherText.substr(0, kFixedCipherIvLength),
                                      cipherText.substr(kFixedCipherIvLength), decrypted);
  // Nothing of a failed decryption (a prefix before a bad padding block) reaches the caller.
  if (result == PXA_OK) {
    plain.assign(decrypted.begin(), decrypted.end());
  }
  WipeString(decrypted);
  return result;
}

}  // namespace QVCryptoService
