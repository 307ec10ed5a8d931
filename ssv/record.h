#pragma once

#include <qvcryptoservice/secure_block.h>

#include <array>
#include <cstdint>

#include "ssv/record_layout.h"

namespace QVCryptoService {

// BuildSsvRecord makes a new SSV record in `record` (replacing its contents): five random group
// secrets, each split into five shares, placed in a random slot order, under a fresh component
// id. Returns false when a random source fails; `record` is then left empty.
bool BuildSsvRecord(SecureBlock& record);

// DrawSlotOrder fills `order` with a random permutation of the slot indices 0..24, drawing one
// byte at a time from OpenSSL's generator and keeping each index the first time it comes up.
// Returns false when the generator fails (or, against all odds, does not cover every index in
// 4096 draws).
bool DrawSlotOrder(std::array<std::uint8_t, kSsvSlotCount>& order);

}  // namespace QVCryptoService
