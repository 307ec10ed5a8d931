// The Windows side of the platform layer, against the real facilities (under Wine, those of a
// fresh prefix): the HKLM store and its value type, the system directory, private files and the
// COM task allocator.

#include "platform/machine_store.h"
#include "platform/private_file.h"
#include "platform/system_directory.h"
#include "platform/task_memory.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/platform/store_reads.h"

#include <gtest/gtest.h>

#include <objbase.h>
#include <windows.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;

const std::string& kKey = testsupport::kSsvKey;
const std::string& kValue = testsupport::kSsvValue;
constexpr auto Read = testsupport::ReadStoreValue;

class RegistryStore : public testing::Test {
 protected:
  testsupport::TempMachineRoot m_machine;
};

TEST_F(RegistryStore, WritesABinaryValueUnderLocalMachineAndReadsItBack) {
  const std::vector<std::uint8_t> record(2883, 0x5A);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, record), StoreStatus::kOk);
  m_machine.ExpectPrivateBinaryValue(kKey, kValue);
  EXPECT_EQ(m_machine.ReadValue(kKey, kValue), record) << "what the registry holds";
  EXPECT_EQ(Read(kKey, kValue, 2883, StoreStatus::kOk), record);

  ASSERT_EQ(WriteMachineValue(kKey, kValue, std::vector<std::uint8_t>{9}), StoreStatus::kOk);
  EXPECT_EQ(m_machine.ReadValue(kKey, kValue), std::vector<std::uint8_t>{9}) << "a write replaces the value";
}

TEST_F(RegistryStore, ReadTellsMissingFromTooLarge) {
  Read(kKey, kValue, 10, StoreStatus::kNotFound);
  Read("SOFTWARE\\Nothing\\Here", kValue, 10, StoreStatus::kNotFound);
  m_machine.WriteValue(kKey, kValue, std::vector<std::uint8_t>(10, 1));
  Read(kKey, "Other_Value", 10, StoreStatus::kNotFound);
  EXPECT_EQ(Read(kKey, kValue, 10, StoreStatus::kOk).size(), 10U);
  Read(kKey, kValue, 9, StoreStatus::kValueTooLarge);
  m_machine.WriteValue(kKey, kValue, {});
  EXPECT_TRUE(Read(kKey, kValue, 10, StoreStatus::kOk).empty());
}

TEST_F(RegistryStore, LegacyLocationsWrittenByOthersAreRead) {
  for (const std::string key : {"SOFTWARE\\Quorvel", "SOFTWARE\\Classes\\Quorvel"}) {
    const std::vector<std::uint8_t> bytes = {1, 2, static_cast<std::uint8_t>(key.size())};
    m_machine.WriteValue(key, "Quorvel_Data", bytes);
    EXPECT_EQ(Read(key, "Quorvel_Data", 100, StoreStatus::kOk), bytes) << key;
  }
  EXPECT_FALSE(m_machine.HasValue(kKey, kValue)) << "reading wrote the current location";
}

TEST(WindowsSystemDirectory, IsTheOnesGetSystemDirectoryNames) {
  std::array<char, MAX_PATH + 1> buffer{};
  const UINT length = GetSystemDirectoryA(buffer.data(), static_cast<UINT>(buffer.size()));
  ASSERT_GT(length, 0U);
  EXPECT_EQ(SystemDirectory(), std::string(buffer.data(), length));
}

TEST(WindowsSystemDirectory, AStagingNameJoinedWithASlashIsTheFileInThatDirectory) {
  const testsupport::TempMachineRoot machine;
  const std::string joined = SystemDirectory() + "/stableSystemValues";
  ASSERT_TRUE(WritePrivateFile(joined, std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_TRUE(fs::equivalent(fs::path(joined), machine.path() / "stableSystemValues"));
  EXPECT_EQ(testsupport::ReadBytes(machine.path() / "stableSystemValues"), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(WindowsPrivateFile, ReplacesContentAndFailsInAMissingDirectory) {
  const fs::path directory = fs::temp_directory_path() / "qvcs-private-file-test";
  fs::create_directories(directory);
  const fs::path path = directory / "private";
  testsupport::WriteBytes(path, std::vector<std::uint8_t>(100, 1));
  const std::vector<std::uint8_t> data = {5, 6, 7};
  ASSERT_TRUE(WritePrivateFile(path.string(), data));
  EXPECT_EQ(testsupport::ReadBytes(path), data);
  EXPECT_FALSE(WritePrivateFile((directory / "missing" / "file").string(), data));
  fs::remove_all(directory);
}

TEST(WindowsTaskMemory, CallersFreeItWithCoTaskMemFree) {
  void* memory = AllocateCallerMemory(4096);
  ASSERT_NE(memory, nullptr);
  std::memset(memory, 0x11, 4096);
  // The block belongs to the COM task allocator: it can grow and be freed there.
  void* grown = CoTaskMemRealloc(memory, 8192);
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(static_cast<unsigned char*>(grown)[4095], 0x11);
  CoTaskMemFree(grown);
}

}  // namespace
}  // namespace QVCryptoService::platform
