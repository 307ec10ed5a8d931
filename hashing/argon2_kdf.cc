#include "hashing/argon2_kdf.h"

#include "hashing/argon2_record.h"

#include <argon2.h>

#include <algorithm>
#include <limits>

namespace QVCryptoService {
namespace {

// The longest secret and associated data taken; the algorithm allows more, no caller needs it.
constexpr std::size_t kMaxKeyedInputBytes = 64;

// libargon2 takes its inputs through non-const pointers but does not write to them (no
// clearing flag is set).
std::uint8_t* InputPointer(std::span<const std::uint8_t> bytes) {
  return bytes.empty() ? nullptr : const_cast<std::uint8_t*>(bytes.data());
}

bool InputsWithinBounds(std::span<const std::uint8_t> password, std::span<const std::uint8_t> salt,
                        std::span<const std::uint8_t> secret, std::span<const std::uint8_t> associatedData,
                        const Argon2idParameters& parameters, std::span<std::uint8_t> out) {
  return Argon2idParametersWithinBounds(parameters) && Argon2idSaltLengthWithinBounds(salt.size()) &&
         Argon2idDigestLengthWithinBounds(out.size()) && secret.size() <= kMaxKeyedInputBytes &&
         associatedData.size() <= kMaxKeyedInputBytes && password.size() <= std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

bool Argon2idDeriveKeyed(std::span<const std::uint8_t> password, std::span<const std::uint8_t> salt,
                         std::span<const std::uint8_t> secret, std::span<const std::uint8_t> associatedData,
                         const Argon2idParameters& parameters, std::span<std::uint8_t> out) {
  std::fill(out.begin(), out.end(), std::uint8_t{0});
  if (!InputsWithinBounds(password, salt, secret, associatedData, parameters, out)) {
    return false;
  }
  argon2_context context{};
  context.out = out.data();
  context.outlen = static_cast<std::uint32_t>(out.size());
  context.pwd = InputPointer(password);
  context.pwdlen = static_cast<std::uint32_t>(password.size());
  context.salt = InputPointer(salt);
  context.saltlen = static_cast<std::uint32_t>(salt.size());
  context.secret = InputPointer(secret);
  context.secretlen = static_cast<std::uint32_t>(secret.size());
  context.ad = InputPointer(associatedData);
  context.adlen = static_cast<std::uint32_t>(associatedData.size());
  context.t_cost = parameters.passes;
  context.m_cost = parameters.memoryKiB;
  context.lanes = parameters.lanes;
  // One thread computes every lane: the result is the same, and a verification never starts
  // threads on a stored record's say.
  context.threads = 1;
  context.version = ARGON2_VERSION_13;
  context.flags = ARGON2_DEFAULT_FLAGS;
  if (argon2_ctx(&context, Argon2_id) != ARGON2_OK) {
    std::fill(out.begin(), out.end(), std::uint8_t{0});
    return false;
  }
  return true;
}

bool Argon2idDerive(std::span<const std::uint8_t> password, std::span<const std::uint8_t> salt,
                    const Argon2idParameters& parameters, std::span<std::uint8_t> out) {
  return Argon2idDeriveKeyed(password, salt, {}, {}, parameters, out);
}

}  // namespace QVCryptoService
