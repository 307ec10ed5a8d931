#pragma once

// Names of result values, for messages and for `qvcrypto explain`.

#include <qvcryptoservice/result.h>

#include <string>

namespace qvcrypto {

// FamilyName names the family in the high word ("library", "keystore", "OpenSSL", or "none").
std::string FamilyName(QVCryptoService::PxaResult result);

// CodeName returns the constant's name for a library or keystore code ("PXA_ERR_SSV_FILE"), or
// an empty string when the code has none.
std::string CodeName(QVCryptoService::PxaResult result);

// Hex formats a result value as 0x followed by lower-case hex digits.
std::string Hex(QVCryptoService::PxaResult result);

// ParseResultValue reads decimal or 0x-hex digits into 64 bits; false for anything else (signs,
// blanks, other characters), including values that do not fit.
bool ParseResultValue(const std::string& text, QVCryptoService::PxaResult& value);

}  // namespace qvcrypto
