// QVSSVCrypto end to end on a throw-away machine root: generation, the places a record is read
// from and their precedence, recombination after a restart, damaged records, and diagnostics.

#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/key_deduction.h"
#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/ssv/record_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <thread>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::LogEntry;
using testsupport::ReadBytes;
using testsupport::TempMachineRoot;
using testsupport::WriteBytes;

const LogEntry kNoRecordLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::initSSV",
                             "ssv does not exist or is corrupted!"};
const LogEntry kCorruptedLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::getComponentId", "The SSV is corrupted"};
const LogEntry kCombineLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::recoverSSV",
                            "Failed to combine the SSV shares. ret=-1"};

std::vector<std::uint8_t> NewRecord() {
  SecureBlock record;
  EXPECT_TRUE(BuildSsvRecord(record));
  return std::vector<std::uint8_t>(record.begin(), record.end());
}

std::string IdOf(const std::vector<std::uint8_t>& record) {
  return std::string(record.begin(), record.begin() + kComponentIdSize);
}

// EntryOffset is where the entry holding slot `slot` starts in `record`.
std::size_t EntryOffset(const std::vector<std::uint8_t>& record, std::size_t slot) {
  for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
    const std::size_t offset = kShareStoreOffset + entry * kShareEntrySize;
    if (record[offset] == slot) {
      return offset;
    }
  }
  ADD_FAILURE() << "no entry for slot " << slot;
  return kShareStoreOffset;
}

void WriteLocation(const TempMachineRoot& root, const SsvStoreLocation& location,
                   const std::vector<std::uint8_t>& bytes) {
  root.WriteValue(location.key, location.value, bytes);
}

class SsvEngine : public testing::Test {
 protected:
  void WriteLocation(const SsvStoreLocation& location, const std::vector<std::uint8_t>& bytes) const {
    QVCryptoService::WriteLocation(m_root, location, bytes);
  }
  void WriteCurrent(const std::vector<std::uint8_t>& bytes) const { WriteLocation(kCurrentSsvStoreLocation, bytes); }
  std::vector<std::uint8_t> ReadCurrent() const {
    return m_root.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
  }
  bool HasCurrent() const { return m_root.HasValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value); }
  fs::path StagingPath() const { return m_root.path() / "stableSystemValues"; }

  TempMachineRoot m_root;
  testsupport::CapturedLog m_log;
};

TEST_F(SsvEngine, GenerateStoresOneRecordAndLeavesNoStagingFile) {
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  const auto stored = ReadCurrent();
  testsupport::ExpectRecordLayout(stored);
  EXPECT_EQ(testsupport::RecombineRecord(stored).size(), kSsvGroupCount);
  EXPECT_FALSE(fs::exists(StagingPath()));
  m_root.ExpectPrivateBinaryValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
  for (const SsvStoreLocation& legacy : {kSsvStoreLocations[0], kSsvStoreLocations[1]}) {
    EXPECT_FALSE(m_root.HasValue(legacy.key, legacy.value)) << legacy.key << " was written";
  }
  EXPECT_TRUE(m_log.entries().empty());
}

TEST_F(SsvEngine, GenerateKeepsAnExistingRecordUnlessForced) {
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  const auto first = ReadCurrent();
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  EXPECT_EQ(ReadCurrent(), first) << "an unforced generation replaced the record";
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  const auto second = ReadCurrent();
  testsupport::ExpectRecordLayout(second);
  EXPECT_NE(IdOf(second), IdOf(first));
  EXPECT_NE(testsupport::RecombineRecord(second), testsupport::RecombineRecord(first));
}

struct ExistingCase {
  const char* name;
  void (*place)(const TempMachineRoot& root);
  bool counts;
};

class SsvExistingRecord : public SsvEngine, public testing::WithParamInterface<ExistingCase> {};

TEST_P(SsvExistingRecord, DecidesWhetherAnUnforcedGenerationWrites) {
  GetParam().place(m_root);
  const bool hadCurrent = HasCurrent();
  const auto before = hadCurrent ? ReadCurrent() : std::vector<std::uint8_t>{};
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  if (GetParam().counts) {
    EXPECT_EQ(HasCurrent(), hadCurrent);
    if (hadCurrent) {
      EXPECT_EQ(ReadCurrent(), before);
    }
  } else {
    testsupport::ExpectRecordLayout(ReadCurrent());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Places, SsvExistingRecord,
    testing::Values(
        ExistingCase{"EmptyStagingFile",
                     [](const TempMachineRoot& root) { WriteBytes(root.path() / "stableSystemValues", {}); }, true},
        ExistingCase{"FirstLegacyLocation",
                     [](const TempMachineRoot& root) { WriteLocation(root, kSsvStoreLocations[0], NewRecord()); },
                     true},
        ExistingCase{"SecondLegacyLocation",
                     [](const TempMachineRoot& root) { WriteLocation(root, kSsvStoreLocations[1], NewRecord()); },
                     true},
        ExistingCase{"ShortCurrentValue",
                     [](const TempMachineRoot& root) {
                       WriteLocation(root, kSsvStoreLocations[2], {1, 2, 3});
                     },
                     true},
        ExistingCase{"OverlongLegacyValue",
                     [](const TempMachineRoot& root) {
                       auto longer = NewRecord();
                       longer.push_back(0);
                       WriteLocation(root, kSsvStoreLocations[0], longer);
                     },
                     false},
        ExistingCase{"Nothing", [](const TempMachineRoot&) {}, false}),
    [](const testing::TestParamInfo<ExistingCase>& param) { return std::string(param.param.name); });

TEST_F(SsvEngine, GenerateFailsWith10WhenTheStagingDirectoryIsMissing) {
  EXPECT_EQ(QVSSVCrypto::generateSSV((m_root.path() / "missing").string(), true), KS_ERR_SSV_NOT_INITIALIZED);
  EXPECT_FALSE(HasCurrent());
}

TEST_F(SsvEngine, ConcurrentUnforcedGenerationsAllReportTheOneStoredRecord) {
  constexpr std::size_t kRuns = 8;
  std::vector<EQVKeystoreCode> codes(kRuns, KS_ERR_UNSPECIFIED);
  std::vector<std::string> ids(kRuns);
  std::vector<std::thread> runs;
  for (std::size_t run = 0; run < kRuns; ++run) {
    runs.emplace_back([&, run] {
      codes[run] = QVSSVCrypto::generateSSV(m_root.string(), false);
      QVSSVCrypto engine;
      ids[run] = engine.getComponentId();
    });
  }
  for (auto& run : runs) {
    run.join();
  }
  EXPECT_EQ(codes, std::vector<EQVKeystoreCode>(kRuns, KS_SUCCESS));
  EXPECT_EQ(ids, std::vector<std::string>(kRuns, IdOf(ReadCurrent())));
  EXPECT_FALSE(fs::exists(StagingPath()));
}

struct StagingCase {
  std::size_t size;
  bool wins;
};

class SsvStagingFile : public SsvEngine, public testing::WithParamInterface<StagingCase> {};

TEST_P(SsvStagingFile, WinsOverTheStoreOnlyAtExactlyOneRecord) {
  const auto stored = NewRecord();
  auto staged = NewRecord();
  WriteCurrent(stored);
  staged.resize(GetParam().size, 0x42);
  WriteBytes(StagingPath(), staged);
  const auto& source = GetParam().wins ? staged : stored;

  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), IdOf(source)) << "staging file of " << GetParam().size << " bytes";
  std::vector<std::string> secrets;
  ASSERT_EQ(engine.recoverSSV(secrets), KS_SUCCESS);
  EXPECT_EQ(secrets, testsupport::RecombineRecord(source));
  EXPECT_TRUE(m_log.entries().empty());
}

INSTANTIATE_TEST_SUITE_P(Sizes, SsvStagingFile,
                         testing::Values(StagingCase{2882, false}, StagingCase{2883, true}, StagingCase{2884, false}),
                         [](const testing::TestParamInfo<StagingCase>& param) {
                           return "Bytes" + std::to_string(param.param.size);
                         });

TEST_F(SsvEngine, AStagingFileOfRecordSizeIsTakenWhateverItHolds) {
  WriteCurrent(NewRecord());
  std::vector<std::uint8_t> garbage(kSsvRecordSize, 'z');
  WriteBytes(StagingPath(), garbage);
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), std::string(32, 'z'));
  std::vector<std::string> secrets;
  EXPECT_EQ(engine.recoverSSV(secrets), KS_ERR_INVALID_SSV_DATA);
  EXPECT_TRUE(secrets.empty());
  EXPECT_EQ(m_log.entries(), std::vector<LogEntry>{kCombineLine});
}

class SsvStoreLocations : public SsvEngine, public testing::WithParamInterface<std::size_t> {};

TEST_P(SsvStoreLocations, EachLocationIsRead) {
  const auto record = NewRecord();
  WriteLocation(kSsvStoreLocations[GetParam()], record);
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), IdOf(record));
  std::vector<std::string> secrets;
  ASSERT_EQ(engine.recoverSSV(secrets), KS_SUCCESS);
  EXPECT_EQ(secrets, testsupport::RecombineRecord(record));
}

INSTANTIATE_TEST_SUITE_P(InSearchOrder, SsvStoreLocations, testing::Values(0, 1, 2));

TEST_F(SsvEngine, TheFirstLocationWithAWholeRecordWins) {
  const auto oldest = NewRecord();
  const auto middle = NewRecord();
  const auto current = NewRecord();
  WriteLocation(kSsvStoreLocations[1], middle);
  WriteLocation(kSsvStoreLocations[2], current);
  EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(middle));
  WriteLocation(kSsvStoreLocations[0], oldest);
  EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(oldest));
  // A value that is not one whole record is passed over.
  WriteLocation(kSsvStoreLocations[0], std::vector<std::uint8_t>(100, 1));
  EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(middle));
}

TEST_F(SsvEngine, WithoutARecordEveryCallLogsAndFails) {
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  EXPECT_EQ(m_log.entries(), (std::vector<LogEntry>{kNoRecordLine, kCorruptedLine}));
  EXPECT_EQ(engine.getComponentId(), "");
  EXPECT_EQ(m_log.entries(), (std::vector<LogEntry>{kNoRecordLine, kCorruptedLine, kNoRecordLine, kCorruptedLine}));

  m_log.clear();
  std::vector<std::string> secrets{"kept"};
  EXPECT_EQ(engine.recoverSSV(secrets), KS_ERR_SSV_NOT_INITIALIZED);
  EXPECT_EQ(secrets, std::vector<std::string>{"kept"});
  EXPECT_EQ(m_log.entries(), std::vector<LogEntry>{kNoRecordLine});
}

TEST_F(SsvEngine, LoadsOnceAfterAFailureIsRetried) {
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  const auto first = ReadCurrent();
  EXPECT_EQ(engine.getComponentId(), IdOf(first)) << "a failed load was not retried";

  // Once loaded, the running engine keeps its record even when the store changes.
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  EXPECT_EQ(engine.getComponentId(), IdOf(first));
  std::vector<std::string> secrets;
  ASSERT_EQ(engine.recoverSSV(secrets), KS_SUCCESS);
  EXPECT_EQ(secrets, testsupport::RecombineRecord(first));
}

TEST_F(SsvEngine, AFreshEngineRecombinesTheSameKeyFromTheStore) {
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  std::vector<std::string> before;
  {
    QVSSVCrypto firstRun;
    ASSERT_EQ(firstRun.recoverSSV(before), KS_SUCCESS);
  }
  ASSERT_EQ(before.size(), kSsvGroupCount);
  for (const auto& secret : before) {
    EXPECT_EQ(secret.size(), kGroupSecretSize);
  }

  QVSSVCrypto restarted;
  std::vector<std::string> after;
  ASSERT_EQ(restarted.recoverSSV(after), KS_SUCCESS);
  EXPECT_EQ(after, before);
  const SecureBlock keyBefore = DeduceSsvKey(before);
  const SecureBlock keyAfter = DeduceSsvKey(after);
  EXPECT_EQ(keyAfter.size(), 32U);
  EXPECT_TRUE(keyAfter == keyBefore);

  // The fresh engine really read the store: without it, the next one finds nothing.
  m_root.RemoveValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
  std::vector<std::string> none;
  EXPECT_EQ(QVSSVCrypto().recoverSSV(none), KS_ERR_SSV_NOT_INITIALIZED);
  std::vector<std::string> again;
  EXPECT_EQ(restarted.recoverSSV(again), KS_SUCCESS) << "a loaded engine keeps its shares";
  EXPECT_EQ(again, before);
}

TEST_F(SsvEngine, ShuffledEntriesAndExchangedSharesRecoverTheSameSecrets) {
  const auto record = NewRecord();
  const auto expected = testsupport::RecombineRecord(record);

  auto shuffled = record;
  // Swap whole entries, index bytes included: the index decides the slot, not the position.
  for (std::size_t a = 0, b = 24; a < b; ++a, --b) {
    std::swap_ranges(shuffled.begin() + static_cast<std::ptrdiff_t>(kShareStoreOffset + a * kShareEntrySize),
                     shuffled.begin() + static_cast<std::ptrdiff_t>(kShareStoreOffset + (a + 1) * kShareEntrySize),
                     shuffled.begin() + static_cast<std::ptrdiff_t>(kShareStoreOffset + b * kShareEntrySize));
  }
  auto exchanged = record;
  // Two complete shares of group 3 change places while the index bytes stay: each x still goes
  // with its own key share.
  const std::size_t first = EntryOffset(exchanged, 16) + 1;
  const std::size_t second = EntryOffset(exchanged, 18) + 1;
  std::swap_ranges(exchanged.begin() + static_cast<std::ptrdiff_t>(first),
                   exchanged.begin() + static_cast<std::ptrdiff_t>(first + sharescheme::kShareSize),
                   exchanged.begin() + static_cast<std::ptrdiff_t>(second));

  for (const auto& variant : {shuffled, exchanged}) {
    WriteCurrent(variant);
    QVSSVCrypto engine;
    std::vector<std::string> secrets;
    ASSERT_EQ(engine.recoverSSV(secrets), KS_SUCCESS);
    EXPECT_EQ(secrets, expected);
    EXPECT_EQ(engine.getComponentId(), IdOf(record));
  }
  EXPECT_TRUE(m_log.entries().empty());
}

struct DamageCase {
  const char* name;
  std::size_t group;  // the group that the damage breaks
  std::function<void(std::vector<std::uint8_t>&)> damage;
};

class SsvDamagedRecord : public SsvEngine, public testing::WithParamInterface<DamageCase> {};

TEST_P(SsvDamagedRecord, FailsWith11AfterTheGroupsBeforeIt) {
  auto record = NewRecord();
  const auto intact = testsupport::RecombineRecord(record);
  GetParam().damage(record);
  WriteCurrent(record);
  QVSSVCrypto engine;
  std::vector<std::string> secrets;
  EXPECT_EQ(engine.recoverSSV(secrets), KS_ERR_INVALID_SSV_DATA);
  EXPECT_EQ(secrets,
            std::vector<std::string>(intact.begin(), intact.begin() + static_cast<std::ptrdiff_t>(GetParam().group)));
  EXPECT_EQ(m_log.entries(), std::vector<LogEntry>{kCombineLine});
}

// Byte offsets inside an entry: 0 index, 1 x, 2..33 key share, 34..49 tag, 50..113 cipher text.
void Flip(std::vector<std::uint8_t>& record, std::size_t slot, std::size_t at) {
  record[EntryOffset(record, slot) + at] ^= 0x04;
}

INSTANTIATE_TEST_SUITE_P(
    Damage, SsvDamagedRecord,
    testing::Values(DamageCase{"XByte", 0, [](auto& r) { Flip(r, 2, 1); }},
                    DamageCase{"KeyShareByte", 1, [](auto& r) { Flip(r, 7, 20); }},
                    DamageCase{"TagByte", 2, [](auto& r) { Flip(r, 14, 40); }},
                    DamageCase{"CipherTextByteOfTheFirstMember", 3, [](auto& r) { Flip(r, 15, 113); }},
                    DamageCase{"CipherTextByteOfTheLastMember", 4, [](auto& r) { Flip(r, 24, 60); }},
                    DamageCase{"SwappedXBytes", 2,
                               [](auto& r) { std::swap(r[EntryOffset(r, 11) + 1], r[EntryOffset(r, 13) + 1]); }},
                    DamageCase{"IndexOutOfRange", 1, [](auto& r) { r[EntryOffset(r, 9)] = 25; }},
                    DamageCase{"IndexFF", 3, [](auto& r) { r[EntryOffset(r, 19)] = 0xFF; }},
                    DamageCase{
                        "RepeatedIndex", 0,
                        [](auto& r) { r[EntryOffset(r, 4)] = 20; }}),  // slot 4 goes missing; slot 20 is overwritten
    [](const testing::TestParamInfo<DamageCase>& param) { return std::string(param.param.name); });

TEST_F(SsvEngine, ManyThreadsShareOneEngine) {
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  const auto expected = testsupport::RecombineRecord(ReadCurrent());
  QVSSVCrypto engine;
  std::vector<std::thread> threads;
  std::vector<int> good(8, 0);
  for (std::size_t t = 0; t < good.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 10; ++round) {
        std::vector<std::string> secrets;
        const bool ok = engine.recoverSSV(secrets) == KS_SUCCESS && secrets == expected &&
                        engine.getComponentId().size() == kComponentIdSize;
        good[t] += ok ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(good, std::vector<int>(8, 10));
}

}  // namespace
}  // namespace QVCryptoService
