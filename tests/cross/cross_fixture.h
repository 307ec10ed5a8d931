#pragma once

// What a build leaves for another build to read: cipher texts, hashing and signing records and an
// SSV record with texts under it, each in a file of its own, written byte for byte so that no
// line-ending conversion can hide a difference between the builds.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/keystore_static.h>
#include <qvcryptoservice/qvpax.h>

#include <memory>
#include <string>

namespace testsupport::cross {

// The inputs every build uses, so a reader knows what each text must give back.
inline const std::string kPlainText = "Text written by one build and read by the other: \xc3\xa9\xe2\x82\xac.";
inline const std::string kPassword = "cross-build password";
inline const std::string kSignedData = "data that was hashed, checksummed and signed";

// One file per text; the SSV files belong together (the texts decrypt under that record only).
inline const char* const kKeystoreCipherText = "keystore_cipher.txt";
inline const char* const kPasswordCipherText = "password_cipher.txt";
inline const char* const kDigest = "digest.txt";
inline const char* const kChecksum = "checksum.txt";
inline const char* const kPasswordHash = "password_hash.txt";
inline const char* const kHmac = "hmac.txt";
inline const char* const kSsvRecord = "ssv_record.bin";
inline const char* const kSsvText = "ssv_cipher.txt";
inline const char* const kSsvBinary = "ssv_cipher.bin";

// StartLibrary brings up the service object with the built-in keystore as "ZKSystem", which is
// what both builds' keystore texts are made with.
inline bool StartLibrary() {
  return QVCryptoService::InitLibrary() &&
         QVCryptoService::SetKeystore("ZKSystem", std::make_shared<QVCryptoService::QVKeystoreStatic>());
}

}  // namespace testsupport::cross
