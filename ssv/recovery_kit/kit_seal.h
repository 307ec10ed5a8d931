#pragma once

// Sealing a holder's share into its kit: a key derived from the holder's passphrase and the
// kit's salt, AES-256-GCM under the kit's nonce, with the clear header as associated data.

#include "ssv/recovery_kit/kit_text.h"

#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <span>

namespace QVCryptoService {

// SealKitShare fills kit.sealed with `share` sealed under `passphrase`; the header (salt and nonce
// included) must be complete. Returns false when the key cannot be derived or OpenSSL fails.
bool SealKitShare(std::span<const std::uint8_t> passphrase, std::span<const std::uint8_t> share, KitText& kit);

// OpenKitShare opens kit.sealed into `share`. Returns false, with `share` empty, for a wrong
// passphrase, a kit changed since it was sealed, or KDF parameters outside Argon2id's bounds or
// below `minimum` in memory or passes (a kit above the ceiling of kit_text.h is refused when its
// text is read, before any key is derived).
bool OpenKitShare(std::span<const std::uint8_t> passphrase, const KitText& kit, const Argon2idParameters& minimum,
                  SecureBlock& share);

}  // namespace QVCryptoService
