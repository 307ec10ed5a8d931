#pragma once

#include "ssv/record_layout.h"

#include <qvcryptoservice/secure_block.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace QVCryptoService {

// ShareSlots holds the 25 shares of an SSV record by slot index, in locked memory. A slot may
// be empty: a record whose entries repeat an index leaves another slot without a share.
class ShareSlots {
 public:
  ShareSlots();

  // FromShareStore places each 114-byte entry of `store` into the slot its index byte names.
  // Entries with an index above 24 and a trailing partial entry are skipped, never written
  // elsewhere; a repeated index overwrites the earlier entry.
  static ShareSlots FromShareStore(std::span<const std::uint8_t> store);

  // fill returns the writable bytes of slot `slot` and marks it filled. Throws
  // std::out_of_range for a slot above 24.
  std::span<std::uint8_t, sharescheme::kShareSize> fill(std::size_t slot);

  // fillGroup returns the five slots of group `group`, back to back, and marks them filled.
  // Throws std::out_of_range for a group above 4.
  std::span<std::uint8_t, sharescheme::kShareCount * sharescheme::kShareSize> fillGroup(std::size_t group);

  // group returns the five shares of group `group`, or nothing when one of its slots is empty.
  // Throws std::out_of_range for a group above 4.
  std::optional<std::array<sharescheme::ShareView, sharescheme::kShareCount>> group(std::size_t group) const;

  // slot returns the share in slot `slot`; an empty slot reads as zeros. Throws
  // std::out_of_range for a slot above 24.
  sharescheme::ShareView slot(std::size_t slot) const;

 private:
  SecureBlock shares_;
  std::array<bool, kSsvSlotCount> filled_{};
};

}  // namespace QVCryptoService
