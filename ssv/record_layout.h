#pragma once

// Where the SSV record lives and how it is laid out:
//
//   offset 0   32 bytes    component id (ASCII hex, no terminator)
//   offset 32  1 byte      0x00, never checked on reading
//   offset 33  2850 bytes  25 share entries of 114 bytes, in random order
//
// A share entry is its slot index (0..24; group = index / 5, member = index % 5) followed by
// the 113-byte share that belongs in that slot.

#include "ssv/component_id.h"
#include "ssv/sharescheme/shares.h"

#include <array>
#include <cstddef>
#include <string>

namespace QVCryptoService {

inline constexpr std::size_t kSsvGroupCount = 5;
inline constexpr std::size_t kSsvSlotCount = kSsvGroupCount * sharescheme::kShareCount;
inline constexpr std::size_t kShareEntrySize = 1 + sharescheme::kShareSize;
inline constexpr std::size_t kShareStoreOffset = kComponentIdSize + 1;
inline constexpr std::size_t kShareStoreSize = kSsvSlotCount * kShareEntrySize;
inline constexpr std::size_t kSsvRecordSize = kShareStoreOffset + kShareStoreSize;
static_assert(kSsvRecordSize == 2883 && kShareStoreSize == 2850);

// The bytes of a group secret at the front of each group's message.
inline constexpr std::size_t kGroupSecretSize = 32;

struct SsvStoreLocation {
  const char* key;
  const char* value;
};

// In the order in which they are searched; only the last one is ever written.
inline constexpr std::array<SsvStoreLocation, 3> kSsvStoreLocations{{
    {"SOFTWARE\\Quorvel", "Quorvel_Data"},
    {"SOFTWARE\\Classes\\Quorvel", "Quorvel_Data"},
    {"SOFTWARE\\Classes\\SSV", "SSV_Data"},
}};
inline constexpr SsvStoreLocation kCurrentSsvStoreLocation = kSsvStoreLocations.back();

// StagingFilePath names the transient copy of the record in `directory`. The separator is
// always "/", also after a Windows path: deliberate and kept for compatibility.
inline std::string StagingFilePath(const std::string& directory) { return directory + "/stableSystemValues"; }

}  // namespace QVCryptoService
