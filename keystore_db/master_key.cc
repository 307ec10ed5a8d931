#include "keystore_db/master_key.h"

#include "keystore_db/key_wrap.h"

#include <qvcryptoservice/ssv_functions.h>

#include <openssl/crypto.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace QVCryptoService::keystore_db {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

// A key file is 64 digits and a line end; anything much longer is not a key file.
constexpr std::size_t kMaxKeyFileSize = 256;

// HexValue returns the digit's value, or a negative number, computed with masks only.
int HexValue(std::uint8_t character) {
  const int c = character;
  const int lower = c | 0x20;
  // (x - lo) and (hi - x) are both non-negative exactly inside [lo, hi]; the sign bit of their
  // OR says otherwise.
  const int isDigit = ~((c - '0') | ('9' - c)) >> 31 & 1;
  const int isLetter = ~((lower - 'a') | ('f' - lower)) >> 31 & 1;
  const int value = (-isDigit & (c - '0')) | (-isLetter & (lower - 'a' + 10));
  return value | ((isDigit | isLetter) - 1);  // -1 when neither
}

bool ReadKeyFile(const std::string& path, SecureBlock& text) {
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    return false;
  }
  SecureBlock buffer(kMaxKeyFileSize + 1);
  const std::size_t length = std::fread(buffer.data(), 1, buffer.size(), file.get());
  if (std::ferror(file.get()) != 0 || length > kMaxKeyFileSize) {
    return false;
  }
  buffer.resize(length);
  text = std::move(buffer);
  return true;
}

}  // namespace

bool DecodeHexKey(const SecureBlock& text, SecureBlock& key) {
  std::size_t length = text.size();
  if (length > 0 && text[length - 1] == '\n') {
    --length;
  }
  if (length > 0 && text[length - 1] == '\r') {
    --length;
  }
  if (length != 2 * kMasterKeyLength) {
    return false;
  }
  SecureBlock decoded(kMasterKeyLength);
  int invalid = 0;
  for (std::size_t index = 0; index < kMasterKeyLength; ++index) {
    const int high = HexValue(text[2 * index]);
    const int low = HexValue(text[2 * index + 1]);
    invalid |= high | low;
    decoded[index] = static_cast<std::uint8_t>(((high & 0xf) << 4) | (low & 0xf));
  }
  if (invalid < 0) {
    return false;
  }
  key = std::move(decoded);
  return true;
}

bool LoadHostMasterKey(const KeystoreConfig& config, SecureBlock& key, std::string& error) {
  SecureBlock text;
  if (config.masterKeySource == MasterKeySource::kHostFile) {
    if (!ReadKeyFile(config.masterKeyLocation, text)) {
      error = "cannot read the master key file " + config.masterKeyLocation;
      return false;
    }
  } else {
    const char* value = std::getenv(config.masterKeyLocation.c_str());
    if (value == nullptr) {
      error = "the master key variable " + config.masterKeyLocation + " is not set";
      return false;
    }
    text.assign(value, value + std::strlen(value));
  }
  if (!DecodeHexKey(text, key)) {
    error = "the master key must be 64 hexadecimal digits";
    return false;
  }
  return true;
}

bool SsvAvailable() {
  std::string probe;
  return EncryptWithSSV_Bin(std::string(1, '\0'), probe) == PXA_OK;
}

EQVKeystoreCode SealUnderSsv(const SecureBlock& masterKey, std::string& sealed) {
  // The SSV functions take the plain text as a string; it is wiped as soon as they are done.
  std::string plain(masterKey.begin(), masterKey.end());
  const PxaResult result = EncryptWithSSV_Bin(plain, sealed);
  OPENSSL_cleanse(plain.data(), plain.size());
  return result == PXA_OK ? KS_SUCCESS : KS_ERR_SSV_NOT_INITIALIZED;
}

EQVKeystoreCode OpenUnderSsv(const std::string& sealed, SecureBlock& masterKey) {
  SecureBlock plain;
  const PxaResult result = DecryptWithSSV_Bin(sealed, plain);
  if (result == PXA_ERR_SSV_FILE) {
    return KS_ERR_SSV_NOT_INITIALIZED;
  }
  // The SSV cipher text has no authenticator: the master key check that follows is what tells
  // a wrong SSV from the right one; a wrong length already tells it here.
  if (result != PXA_OK || plain.size() != kMasterKeyLength) {
    return KS_ERR_CORRUPTED;
  }
  masterKey = std::move(plain);
  return KS_SUCCESS;
}

}  // namespace QVCryptoService::keystore_db
