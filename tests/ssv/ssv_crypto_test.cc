// QVSSVCrypto end to end on a throw-away machine root: generation, where a record is read from,
// a load retried after a failure, a damaged record, and diagnostics.

#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/ssv/record_checks.h"

#include <gtest/gtest.h>

#include <thread>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::LogEntry;
using Bytes = std::vector<std::uint8_t>;

const LogEntry kNoRecordLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::initSSV",
                             "ssv does not exist or is corrupted!"};
const LogEntry kCorruptedLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::getComponentId", "The SSV is corrupted"};
const LogEntry kCombineLine{3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::recoverSSV",
                            "Failed to combine the SSV shares. ret=-1"};

Bytes NewRecord() {
  SecureBlock record;
  EXPECT_TRUE(BuildSsvRecord(record));
  return Bytes(record.begin(), record.end());
}

std::string IdOf(const Bytes& record) { return std::string(record.begin(), record.begin() + kComponentIdSize); }

std::vector<std::string> Recovered(QVSSVCrypto& engine, EQVKeystoreCode expected = KS_SUCCESS) {
  std::vector<std::string> secrets;
  EXPECT_EQ(engine.recoverSSV(secrets), expected);
  return secrets;
}

class SsvEngine : public testing::Test {
 protected:
  void Write(const SsvStoreLocation& location, const Bytes& bytes) const {
    m_root.WriteValue(location.key, location.value, bytes);
  }
  Bytes ReadCurrent() const { return m_root.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value); }
  fs::path StagingPath() const { return m_root.path() / "stableSystemValues"; }

  testsupport::TempMachineRoot m_root;
  testsupport::CapturedLog m_log;
};

// What counts as an SSV already there, which an unforced generation keeps: any staging file, a
// whole record in a legacy location, a short value in the current one; not an overlong value.
TEST_F(SsvEngine, AnUnforcedGenerationWritesOnlyWhenNothingCounts) {
  struct Case {
    const char* name;
    const SsvStoreLocation* location;  // null: the staging file
    Bytes bytes;
    bool counts;
  };
  Bytes overlong = NewRecord();
  overlong.push_back(0);
  const Case cases[] = {{"empty staging file", nullptr, {}, true},
                        {"first legacy location", &kSsvStoreLocations[0], NewRecord(), true},
                        {"second legacy location", &kSsvStoreLocations[1], NewRecord(), true},
                        {"short current value", &kSsvStoreLocations[2], {1, 2, 3}, true},
                        {"overlong current value", &kSsvStoreLocations[2], overlong, false},
                        {"overlong legacy value", &kSsvStoreLocations[0], overlong, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const testsupport::TempMachineRoot root;
    if (c.location == nullptr) {
      testsupport::WriteBytes(root.path() / "stableSystemValues", c.bytes);
    } else {
      root.WriteValue(c.location->key, c.location->value, c.bytes);
    }
    const Bytes before = root.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
    ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_SUCCESS);
    const Bytes after = root.ReadValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
    if (c.counts) {
      EXPECT_EQ(after, before);
    } else {
      testsupport::ExpectRecordLayout(after);
    }
  }
}

TEST_F(SsvEngine, ConcurrentUnforcedGenerationsAllReportTheOneStoredRecord) {
  constexpr std::size_t kRuns = 8;
  std::vector<EQVKeystoreCode> codes(kRuns, KS_ERR_UNSPECIFIED);
  std::vector<std::string> ids(kRuns);
  std::vector<std::thread> runs;
  for (std::size_t run = 0; run < kRuns; ++run) {
    runs.emplace_back([&, run] {
      codes[run] = QVSSVCrypto::generateSSV(m_root.string(), false);
      ids[run] = QVSSVCrypto().getComponentId();
    });
  }
  std::ranges::for_each(runs, [](std::thread& run) { run.join(); });
  EXPECT_EQ(codes, std::vector<EQVKeystoreCode>(kRuns, KS_SUCCESS));
  EXPECT_EQ(ids, std::vector<std::string>(kRuns, IdOf(ReadCurrent())));
  EXPECT_FALSE(fs::exists(StagingPath()));
}

// The staging file wins over the store at exactly one record's size; the locations are searched
// in order and the first whole record wins.
TEST_F(SsvEngine, TheStagingFileThenTheFirstWholeRecordIsRead) {
  const Bytes oldest = NewRecord();
  const Bytes middle = NewRecord();
  Write(kSsvStoreLocations[1], middle);
  Write(kSsvStoreLocations[2], NewRecord());
  EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(middle));
  Write(kSsvStoreLocations[0], oldest);
  EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(oldest));
  const Bytes staged = NewRecord();
  for (const std::size_t size : {std::size_t{0}, kSsvRecordSize - 1, kSsvRecordSize + 1}) {
    Bytes resized = staged;
    resized.resize(size, 0x42);
    Write(kSsvStoreLocations[0], resized);
    testsupport::WriteBytes(StagingPath(), resized);
    EXPECT_EQ(QVSSVCrypto().getComponentId(), IdOf(middle)) << "a value or staging file of " << size << " bytes";
  }
  testsupport::WriteBytes(StagingPath(), staged);
  QVSSVCrypto fromStaging;
  EXPECT_EQ(fromStaging.getComponentId(), IdOf(staged));
  EXPECT_EQ(Recovered(fromStaging), testsupport::RecombineRecord(staged));
  EXPECT_TRUE(m_log.entries().empty());
}

// Without a record every call logs and fails; a failed load is retried, and once loaded the
// engine keeps its record whatever generation and the store do.
TEST_F(SsvEngine, GenerationStoresOneRecordAndKeepsItUnlessForced) {
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  std::vector<std::string> secrets{"kept"};
  EXPECT_EQ(engine.recoverSSV(secrets), KS_ERR_SSV_NOT_INITIALIZED);
  EXPECT_EQ(secrets, std::vector<std::string>{"kept"});
  EXPECT_EQ(m_log.entries(), (std::vector<LogEntry>{kNoRecordLine, kCorruptedLine, kNoRecordLine}));

  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  const Bytes first = ReadCurrent();
  testsupport::ExpectRecordLayout(first);
  EXPECT_FALSE(fs::exists(StagingPath()));
  EXPECT_TRUE(m_root.ReadValue(kSsvStoreLocations[0].key, kSsvStoreLocations[0].value).empty());
  EXPECT_TRUE(m_root.ReadValue(kSsvStoreLocations[1].key, kSsvStoreLocations[1].value).empty());
  EXPECT_EQ(engine.getComponentId(), IdOf(first));
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  EXPECT_EQ(ReadCurrent(), first) << "an unforced generation replaced the record";
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  const Bytes second = ReadCurrent();
  testsupport::ExpectRecordLayout(second);
  EXPECT_NE(IdOf(second), IdOf(first));
  EXPECT_NE(testsupport::RecombineRecord(second), testsupport::RecombineRecord(first));
  EXPECT_EQ(QVSSVCrypto::generateSSV((m_root.path() / "missing").string(), true), KS_ERR_SSV_NOT_INITIALIZED);
  EXPECT_EQ(ReadCurrent(), second);
  EXPECT_EQ(m_log.entries().size(), 3U) << "a generation logged";
  Write(kCurrentSsvStoreLocation, {});
  EXPECT_EQ(engine.getComponentId(), IdOf(first));
  EXPECT_EQ(Recovered(engine), testsupport::RecombineRecord(first));
  QVSSVCrypto fresh;
  Recovered(fresh, KS_ERR_SSV_NOT_INITIALIZED);
}

// A share that fails its check stops the recombination at its group: the groups before it come
// back, the call reports 11 and logs why.
TEST_F(SsvEngine, ADamagedShareFailsWith11AfterTheGroupsBeforeIt) {
  Bytes record = NewRecord();
  const auto intact = testsupport::RecombineRecord(record);
  for (std::size_t entry = 0; entry < kSsvSlotCount; ++entry) {
    const std::size_t offset = kShareStoreOffset + entry * kShareEntrySize;
    if (record[offset] == 14) {
      record[offset + 40] ^= 0x04;  // a tag byte of group 2
    }
  }
  Write(kCurrentSsvStoreLocation, record);
  QVSSVCrypto engine;
  EXPECT_EQ(Recovered(engine, KS_ERR_INVALID_SSV_DATA), std::vector<std::string>(intact.begin(), intact.begin() + 2));
  EXPECT_EQ(m_log.entries(), std::vector<LogEntry>{kCombineLine});
}

}  // namespace
}  // namespace QVCryptoService
