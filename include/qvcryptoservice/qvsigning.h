#pragma once

// The HMAC signing engine: HMACs keyed by keys that never leave the library.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <memory>
#include <string>

namespace QVCryptoService {

// QVSigning computes and checks HMACs with keys of the keystore registered as "ZKSystem".
// Records name the key version used, so values made before a rotation keep validating while the
// keystore still serves that version.
class QVCS_EXPORT QVSigning {
 public:
  explicit QVSigning(const std::shared_ptr<CQVKeystoreMgr>& keystores);
  QVSigning(const QVSigning& other);
  QVSigning& operator=(const QVSigning& other);
  virtual ~QVSigning();

  // generateHMAC returns 0 and the serialized SigningData_t text; all 64 bits set when no
  // "ZKSystem" keystore is registered; a keystore-family value when the key cannot be had;
  // PXA_ERR_UNSUPPORTED_DIGEST; PXA_ERR_INVALID_ARGUMENTS for data of 2 GiB or more; or an
  // OpenSSL-family value. The output is untouched on failure.
  virtual PxaResult generateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                                 std::uint64_t length, std::string& serialized) const;
  // generateHMAC (record form) fills `record` instead.
  virtual PxaResult generateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data,
                                 std::uint64_t length, SigningData_t& record) const;
  // validateHMAC recomputes the HMAC with the caller's digest name (the record's is not
  // consulted, deliberately) and the key version the record names. False for any failure.
  virtual bool validateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data, std::uint64_t length,
                            std::string serialized) const;
  virtual bool validateHMAC(std::string digestName, std::string keyName, const std::uint8_t* data, std::uint64_t length,
                            const SigningData_t& record) const;

 private:
  std::shared_ptr<CQVKeystoreMgr> keystores_;
};

}  // namespace QVCryptoService
