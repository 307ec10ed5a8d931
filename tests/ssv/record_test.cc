// The SSV record: component ids, a new record, slot placement, the key deduced from secrets.

#include "ssv/record.h"
#include "ssv/component_id.h"
#include "ssv/key_deduction.h"
#include "ssv/record_layout.h"
#include "ssv/share_slots.h"
#include "tests/ssv/record_checks.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <set>

namespace QVCryptoService {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ComponentId, KnownBytesPrintAsTheKnownText) {
  for (const auto& row : testsupport::ReadDataTable("ssv_component_ids.tsv")) {
    const Bytes bytes = testsupport::FromHex(row["bytes"]);
    ASSERT_EQ(bytes.size(), kComponentIdRandomBytes) << row.where;
    EXPECT_EQ(FormatComponentId(std::span<const std::uint8_t, kComponentIdRandomBytes>(bytes.data(), 16)), row["id"])
        << row.where;
  }
}

Bytes NewRecord() {
  SecureBlock record;
  EXPECT_TRUE(BuildSsvRecord(record));
  return Bytes(record.begin(), record.end());
}

Bytes SlotOrder(const Bytes& record) {
  Bytes order;
  for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
    order.push_back(record[kShareStoreOffset + entry * kShareEntrySize]);
  }
  return order;
}

TEST(SsvRecordBuild, HasTheRecordLayoutAndRecombinesToFiveDistinctSecrets) {
  const Bytes first = NewRecord();
  testsupport::ExpectRecordLayout(first);
  const auto secrets = testsupport::RecombineRecord(first);
  EXPECT_EQ(std::set<std::string>(secrets.begin(), secrets.end()).size(), kSsvGroupCount);
  EXPECT_NE(SlotOrder(NewRecord()), SlotOrder(first)) << "two records put their entries in the same order";
}

// The groups of a share store that have all five shares.
std::vector<std::size_t> CompleteGroups(std::span<const std::uint8_t> store) {
  const ShareSlots placed = ShareSlots::FromShareStore(store);
  std::vector<std::size_t> complete;
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    if (placed.group(group)) {
      complete.push_back(group);
    }
  }
  return complete;
}

TEST(ShareStorePlacement, TheIndexByteDecidesTheSlotAndABadOneLeavesItsGroupIncomplete) {
  const Bytes record = NewRecord();
  const Bytes store(record.begin() + kShareStoreOffset, record.end());
  Bytes rotated = store;  // every entry one place further on
  std::rotate(rotated.begin(), rotated.begin() + kShareEntrySize, rotated.end());
  for (std::size_t slot = 0; slot < kSsvSlotCount; ++slot) {
    EXPECT_TRUE(std::ranges::equal(ShareSlots::FromShareStore(rotated).slot(slot),
                                   ShareSlots::FromShareStore(store).slot(slot)))
        << "slot " << slot;
  }
  std::vector<std::size_t> others = {0, 1, 2, 3, 4};
  others.erase(others.begin() + store[3 * kShareEntrySize] / 5);
  for (const int bad : {25, 127, 128, 255, -1}) {
    Bytes damaged = store;
    // -1 stands for the index of the next entry, repeated.
    damaged[3 * kShareEntrySize] = static_cast<std::uint8_t>(bad < 0 ? store[4 * kShareEntrySize] : bad);
    EXPECT_EQ(CompleteGroups(damaged), others) << "index " << bad;
  }
  for (const std::size_t size : {std::size_t{0}, kShareEntrySize - 1, kShareStoreSize - 1}) {
    EXPECT_LT(CompleteGroups(std::span<const std::uint8_t>(store.data(), size)).size(), kSsvGroupCount) << size;
  }
}

TEST(SsvKeyDeduction, FoldsTheSecretsIntoTheKeyText) {
  const auto text = [](const SecureBlock& key) { return std::string(key.begin(), key.end()); };
  EXPECT_EQ(text(DeduceSsvKey({})), "qemo_lirat_pavu_qemo_lirat_pavu_");
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
