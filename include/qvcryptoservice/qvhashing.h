#pragma once

// The hashing engine: salted digests, checksums, PBKDF2 password hashes and derived keys.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// QVHashing computes and checks one-way values. It holds no state; one instance serves any
// number of threads. Generators return 0, PXA_ERR_UNSUPPORTED_DIGEST for a digest OpenSSL does
// not know, PXA_ERR_INVALID_ARGUMENTS for data of 2 GiB or more, or an OpenSSL-family value; on
// failure the output is untouched. The text forms hand out SerializeHashingData text.
//
// Validators answer false when the digest name differs from the record's or the value differs.
// They answer true when the digest is unknown to OpenSSL or an OpenSSL call fails after the name
// check: a fail-open rule that stored configurations depend on, kept deliberately.
class QVCS_EXPORT QVHashing {
 public:
  QVHashing();
  QVHashing(const QVHashing& other);
  QVHashing(QVHashing&& other) noexcept;
  QVHashing& operator=(const QVHashing& other);
  QVHashing& operator=(QVHashing&& other) noexcept;
  virtual ~QVHashing();

  // generateDigest: the digest of a fresh 16-byte salt followed by the digest of the data.
  virtual PxaResult generateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                   std::string& serialized) const;
  virtual PxaResult generateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                   HashingData_t& record) const;
  virtual bool validateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                              const std::string& serialized) const;
  virtual bool validateDigest(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                              const HashingData_t& record) const;

  // generateCheckSum: the plain digest of the data; the same data always gives the same value.
  virtual PxaResult generateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                     std::string& serialized) const;
  virtual PxaResult generateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                     HashingData_t& record) const;
  virtual bool validateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                const std::string& serialized) const;
  virtual bool validateCheckSum(std::string digestName, const std::uint8_t* data, std::uint64_t length,
                                const HashingData_t& record) const;

  // generateDerivedKey: base64 of a 32-byte PBKDF2 key whose salt is made from the password
  // itself, so the same password always gives the same key. An empty password is refused with
  // PXA_ERR_INVALID_ARGUMENTS.
  virtual PxaResult generateDerivedKey(const std::string& digestName, const std::string& password,
                                       std::string& keyBase64) const;

  // generatePasswordHash: PBKDF2 with a fresh 16-byte salt, 10000 iterations, 32 bytes. The
  // password ends at its first zero byte.
  virtual PxaResult generatePasswordHash(std::string digestName, std::string password, std::string& serialized) const;
  virtual PxaResult generatePasswordHash(std::string digestName, std::string password, HashingData_t& record) const;
  virtual bool validatePasswordHash(std::string digestName, std::string password, const std::string& serialized) const;
  // validatePasswordHash also answers false for a record with no iterations; salt, count and
  // length come from the record.
  virtual bool validatePasswordHash(std::string digestName, std::string password, const HashingData_t& record) const;
};

}  // namespace QVCryptoService
