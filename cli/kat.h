#pragma once

// Known-answer tests of the library's exported OpenSSL wrappers.

#include <string>
#include <vector>

namespace qvcrypto {

struct KatResult {
  std::string name;
  bool passed = false;
  std::string detail;
};

// RunKnownAnswerTests checks AES-256-CBC, SHA-256, HMAC-SHA256 and PBKDF2-HMAC-SHA256 against
// published vectors, through EVPEncrypt/EVPDecrypt, EVPDigest, EVPHMAC and PBKDF2_HMAC, and
// Argon2id through VerifyPasswordHashArgon2id on a record made by another implementation.
std::vector<KatResult> RunKnownAnswerTests();

// HexToBytes decodes lower-case hex; an odd length or another character gives an empty result.
std::vector<unsigned char> HexToBytes(const std::string& hex);

}  // namespace qvcrypto
