#include "cli/commands.h"
#include "cli/io.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/hashing_functions.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// The digest functions count bytes in a signed 32-bit length.
std::int32_t DigestLength(const SecureBlock& data) {
  if (data.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    Failed("input too large: the library digests at most 2 GiB - 1 bytes");
  }
  return static_cast<std::int32_t>(data.size());
}

int PrintRecord(const std::string& operation, PxaResult result, const std::string& record) {
  if (result != PXA_OK) {
    FailedResult(operation, result);
  }
  WriteStandardOutput(record + "\n");
  return kExitOk;
}

int Answer(const std::string& operation, bool verified) {
  if (!verified) {
    throw ToolError(kExitFalse, operation + ": does not match");
  }
  // The answer is the exit code; the confirmation is a message, so standard output stays empty.
  std::fprintf(stderr, "qvcrypto: %s: matches\n", operation.c_str());
  return kExitOk;
}

std::string RecordArgument(const Invocation& invocation) {
  const std::string* record = CommandArgument(invocation, 0);
  if (record == nullptr) {
    Usage("the record to verify against is missing (see --help)");
  }
  std::string text = Trim(*record);
  if (text.empty()) {
    Usage("the record to verify against is empty");
  }
  return text;
}

}  // namespace

int RunHashDigest(const Invocation& /*invocation*/) {
  const SecureBlock data = ReadStandardInput();
  std::string record;
  return PrintRecord("hash digest", CreateDigest(data.data(), DigestLength(data), record), record);
}

int RunHashChecksum(const Invocation& /*invocation*/) {
  const SecureBlock data = ReadStandardInput();
  std::string record;
  return PrintRecord("hash checksum", CreateChecksum(data.data(), DigestLength(data), record), record);
}

int RunHashPassword(const Invocation& invocation) {
  const SecretString password(ReadPassword(invocation));
  std::string record;
  return PrintRecord("hash password", CreatePasswordHash(password.str(), record), record);
}

int RunHashDerive(const Invocation& invocation) {
  const SecretString password(ReadPassword(invocation));
  std::string key;
  const PxaResult result = CreateDerivedKey(password.str(), key);
  const int code = PrintRecord("hash derive", result, key);
  WipeString(key);
  return code;
}

int RunVerifyDigest(const Invocation& invocation) {
  const std::string record = RecordArgument(invocation);
  const SecureBlock data = ReadStandardInput();
  return Answer("verify digest", VerifyDigest(data.data(), DigestLength(data), record));
}

int RunVerifyChecksum(const Invocation& invocation) {
  const std::string record = RecordArgument(invocation);
  const SecureBlock data = ReadStandardInput();
  return Answer("verify checksum", VerifyChecksum(data.data(), DigestLength(data), record));
}

int RunVerifyPassword(const Invocation& invocation) {
  const std::string record = RecordArgument(invocation);
  const SecretString password(ReadPassword(invocation));
  return Answer("verify password", VerifyPasswordHash(password.str(), record));
}

int RunHmacSign(const Invocation& /*invocation*/) {
  const SecureBlock data = ReadStandardInput();
  std::string record;
  return PrintRecord("hmac sign", CreateHMAC(data.data(), data.size(), record), record);
}

int RunHmacVerify(const Invocation& invocation) {
  const std::string record = RecordArgument(invocation);
  const SecureBlock data = ReadStandardInput();
  return Answer("hmac verify", VerifyHMAC(data.data(), data.size(), record));
}

}  // namespace qvcrypto
