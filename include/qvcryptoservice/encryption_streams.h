#pragma once

// Streaming forms of the one-call encryption functions: the same choices, the same texts and the
// same result values, with the plain text and the serialized cipher text read from a ByteSource
// and written to a ByteSink in pieces. Encryption holds a fixed amount of memory whatever the
// size; decryption keeps the cipher bytes (not the text) until the record's key fields, which
// follow them, have been read, and then writes the plain text piece by piece.
//
// A read or write that fails ends the call with PXA_ERR_UNSPECIFIED. What a sink has taken before
// a call fails is incomplete and must be discarded: for a failed decryption it can be plain text
// up to the last block. Texts of the compact form this library writes are read as they come; any
// other text is kept whole and read as the one-call function reads it.

#include <qvcryptoservice/byte_streams.h>
#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <string>

namespace QVCryptoService {

// EncryptDataStream writes to `cipherText` the text EncryptData would return for the bytes of
// `plain` (with this call's random IV), without the line feed the tool prints after it.
QVCS_EXPORT PxaResult EncryptDataStream(ByteSource& plain, ByteSink& cipherText, const std::string& keystoreName);

// DecryptDataStream writes to `plain` what DecryptData gives for the text of `cipherText`.
QVCS_EXPORT PxaResult DecryptDataStream(ByteSource& cipherText, ByteSink& plain, const std::string& keystoreName);

// EncryptWithPasswordStream writes the text EncryptWithPassword returns (random salt and IV).
QVCS_EXPORT PxaResult EncryptWithPasswordStream(ByteSource& plain, const std::string& password, ByteSink& cipherText);

// DecryptWithPasswordStream writes what DecryptWithPassword (three arguments) gives.
QVCS_EXPORT PxaResult DecryptWithPasswordStream(ByteSource& cipherText, const std::string& password, ByteSink& plain);

}  // namespace QVCryptoService
