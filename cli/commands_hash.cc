#include "cli/commands.h"
#include "cli/io.h"
#include "cli/output.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_streams.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

constexpr const char* kTooLarge = "input too large: the library digests at most 2 GiB - 1 bytes";

// The digest functions count bytes in a signed 32-bit length.
void RefuseTooLarge(const StandardInputSource& data) {
  if (data.total() > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
    Failed(kTooLarge);
  }
}

int PrintRecord(const Invocation& invocation, const std::string& operation, PxaResult result,
                const std::string& record) {
  if (result != PXA_OK) {
    FailedResult(operation, result);
  }
  WriteCommandOutput(invocation, record + "\n");
  return kExitOk;
}

// StreamRecord makes a record of standard input, read in pieces, with a streaming function.
int StreamRecord(const Invocation& invocation, const std::string& operation,
                 PxaResult (*create)(ByteSource& data, std::string& record)) {
  StandardInputSource data;
  std::string record;
  const PxaResult result = create(data, record);
  data.Check();
  RefuseTooLarge(data);
  return PrintRecord(invocation, operation, result, record);
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

int RunHashDigest(const Invocation& invocation) { return StreamRecord(invocation, "hash digest", CreateDigestStream); }

int RunHashChecksum(const Invocation& invocation) {
  return StreamRecord(invocation, "hash checksum", CreateChecksumStream);
}

int RunHashPassword(const Invocation& invocation) {
  const SecretString password(ReadPassword(invocation));
  std::string record;
  return PrintRecord(invocation, "hash password", CreatePasswordHash(password.str(), record), record);
}

int RunHashDerive(const Invocation& invocation) {
  const SecretString password(ReadPassword(invocation));
  std::string key;
  const PxaResult result = CreateDerivedKey(password.str(), key);
  const int code = PrintRecord(invocation, "hash derive", result, key);
  WipeString(key);
  return code;
}

// StreamVerification checks standard input, read in pieces, against a record.
int StreamVerification(const Invocation& invocation, const std::string& operation,
                       bool (*verify)(ByteSource& data, const std::string& record), bool refuseTooLarge) {
  const std::string record = RecordArgument(invocation);
  StandardInputSource data;
  const bool verified = verify(data, record);
  data.Check();
  if (refuseTooLarge) {
    RefuseTooLarge(data);
  }
  return Answer(operation, verified);
}

int RunVerifyDigest(const Invocation& invocation) {
  return StreamVerification(invocation, "verify digest", VerifyDigestStream, true);
}

int RunVerifyChecksum(const Invocation& invocation) {
  return StreamVerification(invocation, "verify checksum", VerifyChecksumStream, true);
}

int RunVerifyPassword(const Invocation& invocation) {
  const std::string record = RecordArgument(invocation);
  const SecretString password(ReadPassword(invocation));
  return Answer("verify password", VerifyPasswordHash(password.str(), record));
}

int RunHmacSign(const Invocation& invocation) { return StreamRecord(invocation, "hmac sign", CreateHMACStream); }

int RunHmacVerify(const Invocation& invocation) {
  return StreamVerification(invocation, "hmac verify", VerifyHMACStream, false);
}

}  // namespace qvcrypto
