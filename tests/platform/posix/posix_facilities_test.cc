// The POSIX system directory (the machine root) and private files with owner-only modes.

#include "platform/private_file.h"
#include "platform/system_directory.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;

TEST(SystemDirectory, IsTheMachineRootOrItsDefault) {
  const testsupport::TempMachineRoot root;
  EXPECT_EQ(platform::SystemDirectory(), root.string());
  ::setenv("QVCRYPTO_MACHINE_ROOT", "", 1);
  EXPECT_EQ(platform::SystemDirectory(), "/var/lib/qvcrypto") << "an empty override is ignored";
  ::unsetenv("QVCRYPTO_MACHINE_ROOT");
  EXPECT_EQ(platform::SystemDirectory(), "/var/lib/qvcrypto");
}

TEST(PrivateFile, IsOwnerOnlyReplacesContentAndRefusesLinks) {
  const testsupport::TempMachineRoot root;
  const fs::path path = root.path() / "private";
  testsupport::WriteBytes(path, std::vector<std::uint8_t>(100, 1));
  fs::permissions(path, fs::perms::all);
  const std::vector<std::uint8_t> data = {5, 6, 7};
  ASSERT_TRUE(platform::WritePrivateFile(path.string(), data));
  EXPECT_EQ(testsupport::ReadBytes(path), data);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  const fs::path link = root.path() / "link";
  fs::create_symlink(path, link);
  EXPECT_FALSE(platform::WritePrivateFile(link.string(), std::vector<std::uint8_t>{9}));
  EXPECT_EQ(testsupport::ReadBytes(path), data) << "the write went through the link";
  EXPECT_FALSE(platform::WritePrivateFile((root.path() / "missing" / "file").string(), data));
}

}  // namespace
}  // namespace QVCryptoService
