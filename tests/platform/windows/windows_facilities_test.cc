// The Windows platform layer against the real facilities (under Wine, a fresh prefix's).

#include "platform/machine_store.h"
#include "platform/private_file.h"
#include "platform/replacement_file.h"
#include "platform/task_memory.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <windows.h>
// After windows.h, which they need the types of.
#include <aclapi.h>
#include <objbase.h>
#include <sddl.h>

#include <cstring>
#include <span>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
const std::string& kKey = testsupport::kSsvKey;
const std::string& kValue = testsupport::kSsvValue;

// A security descriptor or string as the system hands it out, freed the way it was allocated.
template <typename Pointer>
struct LocalMemory {
  Pointer get = nullptr;
  ~LocalMemory() { (void)LocalFree(get); }
};

// The DACL of `descriptor` in the system's own notation, "D:P(A;;FA;;;SY)..." ("P": protected).
std::string DaclText(PSECURITY_DESCRIPTOR descriptor) {
  LocalMemory<LPSTR> text;
  EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                                   DACL_SECURITY_INFORMATION, &text.get, nullptr));
  return text.get == nullptr ? "" : text.get;
}

bool UnderWine() { return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr; }

// A file's DACL in the system's notation and its owner's SID as text; both empty when they
// cannot be read (the test has failed then).
struct FileSecurity {
  std::string dacl;
  std::string owner;
};

FileSecurity SecurityOf(const fs::path& path) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  PSID owner = nullptr;
  EXPECT_EQ(GetNamedSecurityInfoA(path.string().c_str(), SE_FILE_OBJECT,
                                  OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                                  nullptr, &descriptor.get),
            static_cast<DWORD>(ERROR_SUCCESS));
  LocalMemory<LPSTR> ownerText;
  if (descriptor.get == nullptr || !ConvertSidToStringSidA(owner, &ownerText.get)) {
    ADD_FAILURE() << "no security descriptor of " << path;
    return {};
  }
  return {DaclText(descriptor.get), ownerText.get};
}

// Made by the store or found with the inherited ACL, its key admits SYSTEM and Administrators only.
TEST(RegistryStore, TheKeyItWritesToAdmitsSystemAndAdministratorsOnly) {
  const testsupport::TempMachineRoot machine;
  for (const bool madeBefore : {false, true}) {
    SCOPED_TRACE(madeBefore ? "key found with the inherited ACL" : "key made by the store");
    (void)RegDeleteKeyA(HKEY_LOCAL_MACHINE, kKey.c_str());
    if (madeBefore) {
      machine.WriteValue(kKey, "Other_Value", Bytes{1});
    }
    ASSERT_EQ(WriteMachineValue(kKey, kValue, Bytes(10, 1)), StoreStatus::kOk);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey.c_str(), 0, READ_CONTROL, &key), ERROR_SUCCESS);
    std::vector<BYTE> descriptor(4096);
    DWORD size = static_cast<DWORD>(descriptor.size());
    const LONG error = RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size);
    (void)RegCloseKey(key);
    ASSERT_EQ(error, ERROR_SUCCESS);
    EXPECT_EQ(DaclText(descriptor.data()), "D:P(A;;KA;;;SY)(A;;KA;;;BA)");
    EXPECT_EQ(testsupport::ReadStoreValue(kKey, kValue, 10, StoreStatus::kOk), Bytes(10, 1));
  }
  testsupport::ReadStoreValue(kKey, kValue, 9, StoreStatus::kValueTooLarge);
  testsupport::ReadStoreValue(kKey, "Missing_Value", 10, StoreStatus::kNotFound);
}

class WindowsPrivateFile : public testing::Test {
 protected:
  WindowsPrivateFile() { fs::create_directories(m_directory); }
  ~WindowsPrivateFile() override { fs::remove_all(m_directory); }

  const fs::path m_directory = fs::temp_directory_path() / "qvcs-private-file-test";
};

TEST_F(WindowsPrivateFile, IsCreatedAdmittingSystemAndAdministratorsOnly) {
  const fs::path path = m_directory / "private";
  ASSERT_TRUE(WritePrivateFile(path.string(), Bytes{5, 6, 7}));
  EXPECT_EQ(testsupport::ReadBytes(path), (Bytes{5, 6, 7}));
  const FileSecurity security = SecurityOf(path);
  if (!UnderWine()) {
    EXPECT_EQ(security.dacl, "D:P(A;;FA;;;SY)(A;;FA;;;BA)");
    return;
  }
  // Wine reports a DACL made from the file's Unix mode: SYSTEM, the owner, and nobody else.
  EXPECT_EQ(security.dacl, "D:(A;;FA;;;SY)(A;;FA;;;" + security.owner + ")");
  GTEST_SKIP() << "Wine reports a file's DACL from its Unix mode, so neither the Administrators entry nor the "
                  "protection against inheritance can be read back";
}

// What --output and the in-place rewrites leave admits the account that made it and nobody else.
TEST_F(WindowsPrivateFile, AReplacementFileAdmitsThisAccountAlone) {
  const fs::path path = m_directory / "replaced";
  testsupport::WriteBytes(path, Bytes{1});
  ReplacementFile file(path.string());
  ASSERT_TRUE(file.Write(Bytes{2}) && file.Commit());
  EXPECT_EQ(testsupport::ReadBytes(path), Bytes{2});
  const FileSecurity security = SecurityOf(path);
  EXPECT_EQ(security.dacl, (UnderWine() ? "D:(A;;FA;;;SY)(A;;FA;;;" : "D:P(A;;FA;;;") + security.owner + ")");
}

TEST_F(WindowsPrivateFile, RefusesAnythingThereAndOnlyAStaleFileMakesWay) {
  const fs::path file = m_directory / "existing";
  testsupport::WriteBytes(file, Bytes(100, 1));
  const fs::path directory = m_directory / "directory";
  fs::create_directories(directory);
  for (const fs::path& path : {file, directory, m_directory / "missing" / "file"}) {
    EXPECT_FALSE(WritePrivateFile(path.string(), Bytes{9})) << path;
  }
  EXPECT_EQ(testsupport::ReadBytes(file), Bytes(100, 1));
  EXPECT_FALSE(fs::exists(m_directory / "missing"));
  EXPECT_FALSE(RemoveOwnStaleFile(directory.string()));
  EXPECT_TRUE(RemoveOwnStaleFile(file.string()));
  EXPECT_TRUE(RemoveOwnStaleFile(file.string())) << "nothing there makes way too";
  // Memory the process may not read makes WriteFile fail after the file was created: no file stays.
  void* unreadable = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_NOACCESS);
  ASSERT_NE(unreadable, nullptr);
  EXPECT_FALSE(WritePrivateFile(file.string(), std::span(static_cast<const std::uint8_t*>(unreadable), 4096)));
  EXPECT_FALSE(fs::exists(file));
  (void)VirtualFree(unreadable, 0, MEM_RELEASE);
}

TEST_F(WindowsPrivateFile, APrivateDirectoryIsMadeOnlyWhereNothingIs) {
  const fs::path directory = m_directory / "kits";
  EXPECT_TRUE(MakePrivateDirectory(directory.string()));
  EXPECT_TRUE(fs::is_directory(directory));
  testsupport::WriteBytes(m_directory / "file", Bytes{1});
  for (const fs::path& path : {directory, m_directory / "file", m_directory / "missing" / "kits"}) {
    EXPECT_FALSE(MakePrivateDirectory(path.string())) << path;
  }
}

// The block belongs to the COM task allocator: it can grow and be freed there.
TEST(WindowsTaskMemory, CallersFreeItWithCoTaskMemFree) {
  void* memory = AllocateCallerMemory(4096);
  ASSERT_NE(memory, nullptr);
  std::memset(memory, 0x11, 4096);
  void* grown = CoTaskMemRealloc(memory, 8192);
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(static_cast<unsigned char*>(grown)[4095], 0x11);
  CoTaskMemFree(grown);
}

}  // namespace
}  // namespace QVCryptoService::platform
