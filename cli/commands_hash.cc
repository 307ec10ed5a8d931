#include "cli/commands.h"
#include "cli/io.h"
#include "cli/output.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/hashing_functions.h>
#include <qvcryptoservice/hashing_streams.h>

#include <qvcryptoservice/password_hash.h>

#include "hashing/argon2_record.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>

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

// StreamRecord makes a record of standard input, read in pieces, with a streaming function. Data
// too large for the digest functions is refused with the tool's own message when
// `refuseTooLarge`; otherwise the library's answer stands.
int StreamRecord(const Invocation& invocation, const std::string& operation,
                 PxaResult (*create)(ByteSource& data, std::string& record), bool refuseTooLarge) {
  StandardInputSource data;
  std::string record;
  const PxaResult result = create(data, record);
  data.Check();
  if (refuseTooLarge) {
    RefuseTooLarge(data);
  }
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

// ReadCost replaces `cost` with the option's value when the option is given.
void ReadCost(const Invocation& invocation, std::string_view option, std::uint32_t& cost) {
  const std::string* text = invocation.Value(option);
  if (text == nullptr) {
    return;
  }
  const char* end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, cost);
  if (error != std::errc() || stop != end) {
    Usage("option " + std::string(option) + " takes a whole number, not '" + *text + "'");
  }
}

// Argon2idCosts: the default policy, with --memory-kib and --passes in place of its values.
Argon2idParameters Argon2idCosts(const Invocation& invocation) {
  Argon2idParameters parameters = kArgon2idPolicyDefault;
  ReadCost(invocation, "--memory-kib", parameters.memoryKiB);
  ReadCost(invocation, "--passes", parameters.passes);
  return parameters;
}

std::string Argon2idBounds() {
  return "memory " + std::to_string(kArgon2idMinMemoryKiB) + " to " + std::to_string(kArgon2idMaxMemoryKiB) +
         " KiB, passes " + std::to_string(kArgon2idMinPasses) + " to " + std::to_string(kArgon2idMaxPasses);
}

int HashPasswordArgon2id(const Invocation& invocation) {
  const Argon2idParameters costs = Argon2idCosts(invocation);
  if (!Argon2idParametersWithinBounds(costs)) {
    Usage("hash password: Argon2id costs out of bounds (" + Argon2idBounds() + ")");
  }
  const SecretString password(ReadPassword(invocation));
  std::string record;
  return PrintRecord(invocation, "hash password", CreatePasswordHashArgon2id(password.str(), record, costs), record);
}

}  // namespace

int RunHashDigest(const Invocation& invocation) {
  return StreamRecord(invocation, "hash digest", CreateDigestStream, true);
}

int RunHashChecksum(const Invocation& invocation) {
  return StreamRecord(invocation, "hash checksum", CreateChecksumStream, true);
}

int RunHashPassword(const Invocation& invocation) {
  if (invocation.Has("--argon2id")) {
    return HashPasswordArgon2id(invocation);
  }
  if (invocation.Value("--memory-kib") != nullptr || invocation.Value("--passes") != nullptr) {
    Usage("hash password: --memory-kib and --passes are costs of --argon2id");
  }
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
  // A record is of one kind only: the other function refuses it without deriving anything.
  return Answer("verify password",
                VerifyPasswordHashArgon2id(password.str(), record) || VerifyPasswordHash(password.str(), record));
}

int RunHmacSign(const Invocation& invocation) { return StreamRecord(invocation, "hmac sign", CreateHMACStream, false); }

int RunHmacVerify(const Invocation& invocation) {
  return StreamVerification(invocation, "hmac verify", VerifyHMACStream, false);
}

}  // namespace qvcrypto
