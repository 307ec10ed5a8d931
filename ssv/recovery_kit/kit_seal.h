#pragma once

// Sealing a holder's share into its kit: a key derived from the holder's passphrase and the
// kit's salt, AES-256-GCM under the kit's nonce, with the clear header as associated data.

#include "ssv/recovery_kit/kit_text.h"

#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <span>

namespace QVCryptoService {

// The iteration count new kits get, and the least one a kit is opened with.
inline constexpr std::uint32_t kKitIterations = 600000;
// More would let a forged kit hold a restore for hours.
inline constexpr std::uint32_t kMaxKitIterations = 100000000;

// SealKitShare fills kit.sealed with `share` sealed under `passphrase`; the header (salt and nonce
// included) must be complete. Returns false when the key cannot be derived or OpenSSL fails.
bool SealKitShare(std::span<const std::uint8_t> passphrase, std::span<const std::uint8_t> share, KitText& kit);

// OpenKitShare opens kit.sealed into `share`. Returns false, with `share` empty, for a wrong
// passphrase, a kit changed since it was sealed, or an iteration count outside the given lower
// bound and kMaxKitIterations.
bool OpenKitShare(std::span<const std::uint8_t> passphrase, const KitText& kit, std::uint32_t minimumIterations,
                  SecureBlock& share);

}  // namespace QVCryptoService
