// QVSSVCrypto end to end on a throw-away machine root: generation, loading, encryption.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/ssv/record_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::LogEntry;
using Bytes = std::vector<std::uint8_t>;

LogEntry SsvLine(const std::string& function, const std::string& message) {
  return {3, "PXA-SSV", "QVCryptoService::QVSSVCrypto::" + function, message};
}
const LogEntry kNoRecordLine = SsvLine("initSSV", "ssv does not exist or is corrupted!");
const LogEntry kCorruptedLine = SsvLine("getComponentId", "The SSV is corrupted");
const LogEntry kCombineLine = SsvLine("recoverSSV", "Failed to combine the SSV shares. ret=-1");

SecureBlock Block(const std::string& text) { return SecureBlock(text.begin(), text.end()); }
std::string Text(const SecureBlock& block) { return std::string(block.begin(), block.end()); }

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

// An unforced generation keeps any staging file, a whole legacy record, a short current value.
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

// The staging file of exactly one record's size wins, then the first whole record in order.
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

// Without a record calls log and fail; once loaded, the engine keeps its record.
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

// A damaged share gives back the groups before it, reports 11 and logs why.
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

TEST_F(SsvEngine, WithoutAnSsvEncryptionReportsElevenBeforeLookingAtItsInput) {
  QVSSVCrypto engine;
  std::string out = "untouched";
  EXPECT_EQ(engine.QVEncrypt(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(engine.QVEncrypt_Bin(Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(3, 'c'), plain), PXA_ERR_SSV_FILE) << "11 before the length check";
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_SSV_FILE);
  EXPECT_EQ(Text(plain), "kept");
  const std::vector<LogEntry> entries = m_log.entries();
  for (const char* function : {"QVEncrypt", "QVEncrypt_Bin", "QVDecrypt_Bin"}) {
    EXPECT_NE(std::ranges::find(entries, SsvLine(function, "Failed to reconstruct the SSV info")), entries.end());
  }
}

class SsvEncryption : public SsvEngine {
 protected:
  void SetUp() override { ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS); }
};

TEST_F(SsvEncryption, AFreshEngineDecryptsBothFormsWithFreshIvs) {
  for (const std::string& plain : {std::string(), std::string(1000, 'c')}) {
    std::vector<std::string> texts(3);
    QVSSVCrypto writer;
    ASSERT_EQ(writer.QVEncrypt(Block(plain), texts[0]), PXA_OK);
    ASSERT_EQ(writer.QVEncrypt(Block(plain), texts[1]), PXA_OK);
    ASSERT_EQ(writer.QVEncrypt_Bin(Block(plain), texts[2]), PXA_OK);
    EXPECT_NE(texts[0], texts[1]);
    EXPECT_EQ(texts[2].size(), 16 + (plain.size() / 16 + 1) * 16) << "IV, then the padded cipher text";
    QVSSVCrypto reader;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      SecureBlock decrypted;
      ASSERT_EQ(i < 2 ? reader.QVDecrypt(texts[i], decrypted) : reader.QVDecrypt_Bin(texts[i], decrypted), PXA_OK);
      EXPECT_EQ(Text(decrypted), plain);
    }
  }
}

TEST_F(SsvEncryption, AnotherMachinesSsvCannotDecrypt) {
  std::string text;
  ASSERT_EQ(QVSSVCrypto().QVEncrypt_Bin(Block("bound to this machine"), text), PXA_OK);
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  SecureBlock plain = Block("kept");
  // Without a MAC a wrong key now and then passes the padding check; it never gives the text.
  const PxaResult result = QVSSVCrypto().QVDecrypt_Bin(text, plain);
  EXPECT_NE(Text(plain), "bound to this machine");
  if (result != PXA_OK) {
    EXPECT_EQ(Text(plain), "kept");
  }
}

TEST_F(SsvEncryption, ShortAndDamagedInputs) {
  QVSSVCrypto engine;
  SecureBlock plain = Block("kept");
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(15, 'c'), plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(m_log.entries().back(), SsvLine("QVDecrypt_Bin", "Invalid cipher text received"));
  EXPECT_EQ(engine.QVDecrypt("", plain), PXA_ERR_INVALID_ARGUMENTS);
  EXPECT_EQ(engine.QVDecrypt_Bin(std::string(16, 'c'), plain) >> 32, PXA_FAMILY_OPENSSL) << "an IV alone";
  std::string binary;
  ASSERT_EQ(engine.QVEncrypt_Bin(Block("sixteen bytes!!!"), binary), PXA_OK);
  binary.pop_back();
  EXPECT_EQ(engine.QVDecrypt_Bin(binary, plain) >> 32, PXA_FAMILY_OPENSSL);
  EXPECT_EQ(Text(plain), "kept");
}

TEST_F(SsvEncryption, EncryptBySsvNeedsExactlyFiveSecrets) {
  std::string out = "untouched";
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(4, std::string(32, 'k')), Block("x"), out),
            PXA_ERR_SSV_FILE);
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV({}, Block("x"), out), PXA_ERR_SSV_FILE);
  EXPECT_EQ(out, "untouched");
  EXPECT_EQ(m_log.entries().back(), SsvLine("EncryptBySSV_Bin", "The SSV is corrupted"));
  EXPECT_EQ(QVSSVCrypto::EncryptBySSV(std::vector<std::string>(5, std::string(32, 'k')), Block("x"), out), PXA_OK);
}

// A C failure gives an allocated empty string, or an empty string in the caller's buffer.
TEST_F(SsvEncryption, CFunctionsGoThroughTheLibrarysEngine) {
  ASSERT_TRUE(InitLibrary());
  std::vector<char*> allocated(3, nullptr);
  SSVEncrypt("c text", &allocated[0]);
  ASSERT_NE(allocated[0], nullptr);
  SSVDecrypt(allocated[0], &allocated[1]);
  SSVDecrypt("not a cipher text", &allocated[2]);
  EXPECT_STREQ(allocated[1], "c text");
  EXPECT_STREQ(allocated[2], "");
  for (char* cText : allocated) {
    std::free(cText);  // NOLINT(cppcoreguidelines-no-malloc)
  }
  char buffer[128];
  char* callerBuffer = buffer;
  SSVDecrypt("still not one", &callerBuffer);
  EXPECT_EQ(callerBuffer, buffer);
  EXPECT_STREQ(buffer, "");
}

}  // namespace
}  // namespace QVCryptoService
