#pragma once

// Checks shared by the record and engine tests.

#include "ssv/record_layout.h"
#include "ssv/share_slots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

// The record's size, a version-4 id ended by a zero byte, index bytes a permutation of 0..24.
inline void ExpectRecordLayout(const std::vector<std::uint8_t>& record) {
  using namespace QVCryptoService;
  ASSERT_EQ(record.size(), kSsvRecordSize);
  const std::string id(record.begin(), record.begin() + kComponentIdSize);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
  EXPECT_EQ(id[12], '4') << id;
  EXPECT_NE(std::string("89ab").find(id[16]), std::string::npos) << id;
  EXPECT_EQ(record[kComponentIdSize], 0);
  std::vector<std::uint8_t> indices;
  for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
    indices.push_back(record[kShareStoreOffset + entry * kShareEntrySize]);
  }
  std::sort(indices.begin(), indices.end());
  for (std::size_t i = 0; i < indices.size(); ++i) {
    ASSERT_EQ(indices[i], i) << "index bytes are not a permutation of 0..24";
  }
}

// Recombines each group of a record without the engine; a failing group ends the list.
inline std::vector<std::string> RecombineRecord(const std::vector<std::uint8_t>& record) {
  using namespace QVCryptoService;
  std::vector<std::string> secrets;
  const ShareSlots slots =
      ShareSlots::FromShareStore(std::span<const std::uint8_t>(record).subspan(kShareStoreOffset, kShareStoreSize));
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    const auto shares = slots.group(group);
    std::array<std::uint8_t, sharescheme::kShareMessageSize> message{};
    if (!shares || sharescheme::CombineShares(*shares, message) != 0) {
      ADD_FAILURE() << "group " << group << " does not recombine";
      return secrets;
    }
    EXPECT_TRUE(std::all_of(message.begin() + kGroupSecretSize, message.end(), [](std::uint8_t b) { return b == 0; }))
        << "message bytes after the secret";
    secrets.emplace_back(message.begin(), message.begin() + kGroupSecretSize);
  }
  return secrets;
}

}  // namespace testsupport
