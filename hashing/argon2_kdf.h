#pragma once

// Argon2id key derivation over libargon2.

#include <qvcryptoservice/password_hash.h>

#include <cstdint>
#include <span>

namespace QVCryptoService {

// Argon2idDerive fills `out` with the Argon2id (version 1.3) tag of `password` and `salt`. False,
// with `out` zeroed, when the parameters, the salt length or the output length are outside the
// bounds of argon2_record.h (checked before any memory is taken) or libargon2 fails. Never throws.
bool Argon2idDerive(std::span<const std::uint8_t> password, std::span<const std::uint8_t> salt,
                    const Argon2idParameters& parameters, std::span<std::uint8_t> out);

// Argon2idDeriveKeyed is Argon2idDerive with the optional secret key and associated data of the
// algorithm (either may be empty; each at most 64 bytes here).
bool Argon2idDeriveKeyed(std::span<const std::uint8_t> password, std::span<const std::uint8_t> salt,
                         std::span<const std::uint8_t> secret, std::span<const std::uint8_t> associatedData,
                         const Argon2idParameters& parameters, std::span<std::uint8_t> out);

}  // namespace QVCryptoService
