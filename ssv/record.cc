#include "ssv/record.h"

#include "platform/system_random.h"
#include "ssv/share_slots.h"

#include <openssl/rand.h>

#include <algorithm>

namespace QVCryptoService {

namespace {

constexpr int kMaxSlotDraws = 4096;

bool FillGroupMessage(SecureBlock& message) {
  // Only the group secret is random; the rest of the message is never read back and stays zero.
  std::fill(message.begin(), message.end(), std::uint8_t{0});
  return RAND_bytes(message.data(), static_cast<int>(kGroupSecretSize)) == 1;
}

}  // namespace

bool DrawSlotOrder(std::array<std::uint8_t, kSsvSlotCount>& order) {
  std::array<bool, kSsvSlotCount> taken{};
  std::size_t drawn = 0;
  for (int draw = 0; draw < kMaxSlotDraws && drawn < kSsvSlotCount; ++draw) {
    unsigned char byte = 0;
    if (RAND_bytes(&byte, 1) != 1) {
      return false;
    }
    // The reduction favours indices 0..5 slightly; accepted, the order only scatters the shares.
    const std::size_t index = byte % kSsvSlotCount;
    if (!taken[index]) {
      taken[index] = true;
      order[drawn++] = static_cast<std::uint8_t>(index);
    }
  }
  return drawn == kSsvSlotCount;
}

bool BuildSsvRecord(SecureBlock& record) {
  record.clear();
  ShareSlots slots;
  SecureBlock message(sharescheme::kShareMessageSize);
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    if (!FillGroupMessage(message) ||
        !sharescheme::CreateShares(std::span<const std::uint8_t, sharescheme::kShareMessageSize>(message),
                                   slots.fillGroup(group), &platform::FillSystemRandom)) {
      return false;
    }
  }
  std::array<std::uint8_t, kSsvSlotCount> order{};
  std::string componentId;
  if (!DrawSlotOrder(order) || !NewComponentId(componentId)) {
    return false;
  }
  SecureBlock built(kSsvRecordSize);
  std::copy(componentId.begin(), componentId.end(), built.begin());
  built[kComponentIdSize] = 0;
  for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
    std::uint8_t* out = built.data() + kShareStoreOffset + entry * kShareEntrySize;
    out[0] = order[entry];
    const sharescheme::ShareView share = slots.slot(order[entry]);
    std::copy(share.begin(), share.end(), out + 1);
  }
  record = std::move(built);
  return true;
}

}  // namespace QVCryptoService
