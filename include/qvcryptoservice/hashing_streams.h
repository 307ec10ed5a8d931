#pragma once

// Streaming forms of the one-call checksum, digest and HMAC functions: the data comes from a
// ByteSource in pieces and goes through the incremental digest calls, in a fixed amount of memory.
// The record texts and result values are those of CreateChecksum, CreateDigest and CreateHMAC for
// the same data (data of 2 GiB or more is refused as those refuse it, once that much has been
// read); a source that fails ends the call with PXA_ERR_UNSPECIFIED. Nothing is written to the
// output on failure.

#include <qvcryptoservice/byte_streams.h>
#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <string>

namespace QVCryptoService {

QVCS_EXPORT PxaResult CreateChecksumStream(ByteSource& data, std::string& checksum);
QVCS_EXPORT PxaResult CreateDigestStream(ByteSource& data, std::string& digest);
QVCS_EXPORT PxaResult CreateHMACStream(ByteSource& data, std::string& hmac);

// The verifications answer as VerifyChecksum, VerifyDigest and VerifyHMAC do for the same data
// and record; false also when the source fails. The record is read before the data.
QVCS_EXPORT bool VerifyChecksumStream(ByteSource& data, const std::string& checksum);
QVCS_EXPORT bool VerifyDigestStream(ByteSource& data, const std::string& digest);
QVCS_EXPORT bool VerifyHMACStream(ByteSource& data, const std::string& hmac);

}  // namespace QVCryptoService
