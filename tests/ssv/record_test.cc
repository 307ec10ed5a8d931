// The SSV record: component ids, slot order, a freshly built record, placing entries into
// slots, and deducing the key from group secrets.

#include "ssv/record.h"
#include "ssv/component_id.h"
#include "ssv/key_deduction.h"
#include "ssv/record_layout.h"
#include "ssv/share_slots.h"
#include "tests/ssv/record_checks.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(ComponentId, KnownBytesPrintAsTheKnownText) {
  for (const auto& row : testsupport::ReadDataTable("ssv_component_ids.tsv")) {
    const std::vector<std::uint8_t> bytes = testsupport::FromHex(row["bytes"]);
    ASSERT_EQ(bytes.size(), kComponentIdRandomBytes) << row.where;
    EXPECT_EQ(FormatComponentId(std::span<const std::uint8_t, kComponentIdRandomBytes>(bytes.data(), 16)), row["id"])
        << row.where;
  }
}

TEST(SsvRecordBuild, HasTheRecordLayoutAndRecombinesToFiveDistinctSecrets) {
  std::set<std::vector<std::uint8_t>> slotOrders;
  for (int round = 0; round < 2; ++round) {
    SecureBlock built;
    ASSERT_TRUE(BuildSsvRecord(built));
    const std::vector<std::uint8_t> record(built.begin(), built.end());
    testsupport::ExpectRecordLayout(record);
    const auto secrets = testsupport::RecombineRecord(record);
    EXPECT_EQ(std::set<std::string>(secrets.begin(), secrets.end()).size(), kSsvGroupCount);
    std::vector<std::uint8_t> order;
    for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
      order.push_back(record[kShareStoreOffset + entry * kShareEntrySize]);
    }
    slotOrders.insert(order);
  }
  EXPECT_EQ(slotOrders.size(), 2U) << "two records put their entries in the same order";
}

class ShareStorePlacement : public testing::Test {
 protected:
  void SetUp() override {
    SecureBlock record;
    ASSERT_TRUE(BuildSsvRecord(record));
    m_store.assign(record.begin() + kShareStoreOffset, record.end());
  }

  // The groups of `store` that have all five shares.
  static std::vector<std::size_t> CompleteGroups(std::span<const std::uint8_t> store) {
    const ShareSlots placed = ShareSlots::FromShareStore(store);
    std::vector<std::size_t> complete;
    for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
      if (placed.group(group)) {
        complete.push_back(group);
      }
    }
    return complete;
  }

  std::vector<std::uint8_t> m_store;
};

TEST_F(ShareStorePlacement, TheIndexByteDecidesTheSlotNotThePosition) {
  std::vector<std::uint8_t> reversed;
  for (std::size_t e = kSsvSlotCount; e-- > 0;) {
    const auto entry = m_store.begin() + static_cast<std::ptrdiff_t>(e * kShareEntrySize);
    reversed.insert(reversed.end(), entry, entry + kShareEntrySize);
  }
  const ShareSlots original = ShareSlots::FromShareStore(m_store);
  const ShareSlots placed = ShareSlots::FromShareStore(reversed);
  for (std::size_t slot = 0; slot < kSsvSlotCount; ++slot) {
    EXPECT_TRUE(std::ranges::equal(placed.slot(slot), original.slot(slot))) << "slot " << slot;
  }
  EXPECT_EQ(CompleteGroups(reversed).size(), kSsvGroupCount);
}

TEST_F(ShareStorePlacement, AnIndexOutsideTheSlotsOrRepeatedLeavesItsGroupIncomplete) {
  const std::size_t lostGroup = m_store[3 * kShareEntrySize] / 5;
  std::vector<std::size_t> others;
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    if (group != lostGroup) {
      others.push_back(group);
    }
  }
  for (const int bad : {25, 127, 128, 255, -1}) {
    auto store = m_store;
    // -1 stands for the index of the next entry, repeated.
    store[3 * kShareEntrySize] = static_cast<std::uint8_t>(bad < 0 ? store[4 * kShareEntrySize] : bad);
    EXPECT_EQ(CompleteGroups(store), others) << "index " << bad;
  }
  for (const std::size_t size : {std::size_t{0}, kShareEntrySize - 1, kShareStoreSize - 1}) {
    EXPECT_LT(CompleteGroups(std::span<const std::uint8_t>(m_store.data(), size)).size(), kSsvGroupCount) << size;
  }
}

TEST(SsvKeyDeduction, FoldsTheSecretsIntoTheKeyText) {
  const auto text = [](const SecureBlock& key) { return std::string(key.begin(), key.end()); };
  const std::string keyText = "qemo_lirat_pavu_qemo_lirat_pavu_";
  EXPECT_EQ(text(DeduceSsvKey({})), keyText);
  std::vector<std::string> secrets;
  for (const char bit : {'\x01', '\x02', '\x04', '\x08', '\x10'}) {
    secrets.emplace_back(32, bit);
  }
  EXPECT_EQ(text(DeduceSsvKey(secrets)), "nzrp@svm~k@o~ij@nzrp@svm~k@o~ij@");
  // The first secret sets the length; a shorter later one contributes only the bytes it has.
  EXPECT_EQ(text(DeduceSsvKey({std::string(4, '\x01'), std::string(2, '\x02')})), "rfln");
}

}  // namespace
}  // namespace QVCryptoService
