// The SSV record: component ids, slot order, a freshly built record, placing entries into
// slots, and deducing the key from group secrets.

#include "ssv/record.h"
#include "ssv/component_id.h"
#include "ssv/key_deduction.h"
#include "ssv/record_layout.h"
#include "ssv/share_slots.h"
#include "tests/ssv/random_bytes.h"
#include "tests/ssv/record_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

struct IdCase {
  std::array<std::uint8_t, 16> bytes;
  const char* expected;
};

class ComponentIdFormat : public testing::TestWithParam<IdCase> {};

// The first three fields print as little-endian words; version and variant bits are forced.
INSTANTIATE_TEST_SUITE_P(
    KnownBytes, ComponentIdFormat,
    testing::Values(
        IdCase{{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f},
               "030201000504470688090a0b0c0d0e0f"},
        IdCase{{}, "00000000000040008000000000000000"},
        IdCase{{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
               "ffffffffffff4fffbfffffffffffffff"},
        IdCase{{0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 0xde, 0xf0, 0x5c, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66},
               "78563412bc9a40de9c00112233445566"}));

TEST_P(ComponentIdFormat, PrintsTheExpectedText) {
  EXPECT_EQ(FormatComponentId(GetParam().bytes), GetParam().expected);
}

TEST(ComponentId, FreshIdsAreVersion4Variant1) {
  std::set<std::string> seen;
  for (int round = 0; round < 200; ++round) {
    std::string id;
    ASSERT_TRUE(NewComponentId(id));
    testsupport::ExpectComponentId(id);
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 200U) << "ids repeat";
}

TEST(SlotOrder, IsAlwaysAPermutation) {
  std::set<std::vector<std::uint8_t>> orders;
  for (int round = 0; round < 200; ++round) {
    std::array<std::uint8_t, kSsvSlotCount> order{};
    ASSERT_TRUE(DrawSlotOrder(order));
    auto sorted = order;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < sorted.size(); ++i) {
      ASSERT_EQ(sorted[i], i) << "round " << round;
    }
    orders.emplace(order.begin(), order.end());
  }
  EXPECT_GT(orders.size(), 190U) << "the order hardly changes";
}

TEST(SsvRecordBuild, HasTheRecordLayoutAndRecombines) {
  SecureBlock record;
  ASSERT_TRUE(BuildSsvRecord(record));
  testsupport::ExpectRecordLayout(std::vector<std::uint8_t>(record.begin(), record.end()));
  const auto secrets = testsupport::RecombineRecord(std::vector<std::uint8_t>(record.begin(), record.end()));
  ASSERT_EQ(secrets.size(), kSsvGroupCount);
  EXPECT_EQ(std::set<std::string>(secrets.begin(), secrets.end()).size(), kSsvGroupCount) << "group secrets repeat";
}

class ShareStorePlacement : public testing::Test {
 protected:
  void SetUp() override {
    SecureBlock record;
    ASSERT_TRUE(BuildSsvRecord(record));
    m_store.assign(record.begin() + kShareStoreOffset, record.end());
  }

  std::uint8_t& IndexByte(std::size_t entry) { return m_store[entry * kShareEntrySize]; }

  std::vector<std::uint8_t> m_store;
};

TEST_F(ShareStorePlacement, EntryOrderDoesNotMatter) {
  const ShareSlots original = ShareSlots::FromShareStore(m_store);
  std::vector<std::vector<std::uint8_t>> entries;
  for (std::size_t e = 0; e < kSsvSlotCount; ++e) {
    entries.emplace_back(m_store.begin() + static_cast<std::ptrdiff_t>(e * kShareEntrySize),
                         m_store.begin() + static_cast<std::ptrdiff_t>((e + 1) * kShareEntrySize));
  }
  std::reverse(entries.begin(), entries.end());
  std::rotate(entries.begin(), entries.begin() + 7, entries.end());
  std::vector<std::uint8_t> shuffled;
  for (const auto& entry : entries) {
    shuffled.insert(shuffled.end(), entry.begin(), entry.end());
  }
  const ShareSlots placed = ShareSlots::FromShareStore(shuffled);
  for (std::size_t slot = 0; slot < kSsvSlotCount; ++slot) {
    EXPECT_TRUE(std::ranges::equal(placed.slot(slot), original.slot(slot))) << "slot " << slot;
  }
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    EXPECT_TRUE(placed.group(group).has_value()) << "group " << group;
  }
}

TEST_F(ShareStorePlacement, IndexBytesOutsideTheSlotsAreSkipped) {
  for (const int bad : {25, 26, 127, 128, 255}) {
    auto store = m_store;
    const std::size_t entry = 3;
    const std::size_t lostSlot = store[entry * kShareEntrySize];
    store[entry * kShareEntrySize] = static_cast<std::uint8_t>(bad);
    const ShareSlots placed = ShareSlots::FromShareStore(store);
    for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
      EXPECT_EQ(placed.group(group).has_value(), group != lostSlot / 5) << "index " << bad << " group " << group;
    }
  }
}

TEST_F(ShareStorePlacement, ARepeatedIndexLeavesItsGroupIncomplete) {
  const std::size_t lostSlot = IndexByte(10);
  IndexByte(10) = IndexByte(11);
  const ShareSlots placed = ShareSlots::FromShareStore(m_store);
  EXPECT_FALSE(placed.group(lostSlot / 5).has_value());
}

TEST_F(ShareStorePlacement, AShortOrEmptyStoreFillsNothingBeyondItsWholeEntries) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kShareEntrySize - 1, kShareStoreSize - 1}) {
    const ShareSlots placed = ShareSlots::FromShareStore(std::span<const std::uint8_t>(m_store.data(), size));
    std::size_t complete = 0;
    for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
      complete += placed.group(group).has_value() ? 1 : 0;
    }
    EXPECT_LT(complete, kSsvGroupCount) << "store of " << size << " bytes";
  }
}

TEST(SsvKeyDeduction, FoldsTheSecretsAndTheKeyText) {
  const std::string keyText = "qemo_lirat_pavu_qemo_lirat_pavu_";
  const auto asString = [](const SecureBlock& key) { return std::string(key.begin(), key.end()); };
  EXPECT_EQ(asString(DeduceSsvKey(std::vector<std::string>(5, std::string(32, '\0')))), keyText);
  EXPECT_EQ(asString(DeduceSsvKey({})), keyText);

  testsupport::RandomBytes random;
  std::vector<std::string> secrets;
  std::string expected = keyText;
  for (int g = 0; g < 5; ++g) {
    const auto bytes = random(32);
    secrets.emplace_back(bytes.begin(), bytes.end());
    for (std::size_t i = 0; i < 32; ++i) {
      expected[i] = static_cast<char>(expected[i] ^ secrets.back()[i]);
    }
  }
  EXPECT_EQ(asString(DeduceSsvKey(secrets)), expected);
}

TEST(SsvKeyDeduction, TheFirstSecretSetsTheLength) {
  // Shorter later elements contribute only the bytes they have; nothing is read past them.
  const std::vector<std::string> secrets = {std::string(4, '\x01'), std::string(2, '\x02')};
  const SecureBlock key = DeduceSsvKey(secrets);
  ASSERT_EQ(key.size(), 4U);
  EXPECT_EQ(key[0], 0x01 ^ 0x02 ^ 'q');
  EXPECT_EQ(key[2], 0x01 ^ 'm');
  EXPECT_EQ(key[3], 0x01 ^ 'o');
}

}  // namespace
}  // namespace QVCryptoService
