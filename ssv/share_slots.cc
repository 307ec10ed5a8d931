#include "ssv/share_slots.h"

#include <algorithm>
#include <stdexcept>

namespace QVCryptoService {

using sharescheme::kShareCount;
using sharescheme::kShareSize;

namespace {

std::size_t CheckedSlot(std::size_t slot) {
  if (slot >= kSsvSlotCount) {
    throw std::out_of_range("share slot out of range");
  }
  return slot;
}

}  // namespace

ShareSlots::ShareSlots() : shares_(kSsvSlotCount * kShareSize) {}

ShareSlots ShareSlots::FromShareStore(std::span<const std::uint8_t> store) {
  ShareSlots slots;
  for (std::size_t offset = 0; offset + kShareEntrySize <= store.size(); offset += kShareEntrySize) {
    const std::size_t index = store[offset];
    // The index byte comes from storage: nothing but 0..24 may pick a destination.
    if (index >= kSsvSlotCount) {
      continue;
    }
    const auto share = store.subspan(offset + 1, kShareSize);
    std::copy(share.begin(), share.end(), slots.fill(index).begin());
  }
  return slots;
}

std::span<std::uint8_t, kShareSize> ShareSlots::fill(std::size_t slot) {
  filled_[CheckedSlot(slot)] = true;
  return std::span<std::uint8_t, kShareSize>(shares_.data() + slot * kShareSize, kShareSize);
}

std::span<std::uint8_t, kShareCount * kShareSize> ShareSlots::fillGroup(std::size_t group) {
  const std::size_t first = CheckedSlot(group * kShareCount);
  std::fill_n(filled_.begin() + static_cast<std::ptrdiff_t>(first), kShareCount, true);
  return std::span<std::uint8_t, kShareCount * kShareSize>(shares_.data() + first * kShareSize,
                                                           kShareCount * kShareSize);
}

sharescheme::ShareView ShareSlots::slot(std::size_t slot) const {
  return sharescheme::ShareView(shares_.data() + CheckedSlot(slot) * kShareSize, kShareSize);
}

std::optional<std::array<sharescheme::ShareView, kShareCount>> ShareSlots::group(std::size_t group) const {
  const std::size_t first = CheckedSlot(group * kShareCount);
  for (std::size_t member = 0; member < kShareCount; ++member) {
    if (!filled_[first + member]) {
      return std::nullopt;
    }
  }
  return std::array<sharescheme::ShareView, kShareCount>{slot(first), slot(first + 1), slot(first + 2), slot(first + 3),
                                                         slot(first + 4)};
}

}  // namespace QVCryptoService
