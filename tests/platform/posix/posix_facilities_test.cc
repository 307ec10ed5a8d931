// The POSIX system directory (the machine root), private files with owner-only modes, the trust
// rule for the machine root and what lies in it, and the machine lock.

#include "platform/machine_lock.h"
#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "platform/private_file.h"
#include "platform/system_directory.h"
#include "tests/platform/machine_root_fixture.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>
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

// Another account for files that must not count as ours; only root can hand files over.
constexpr uid_t kOtherAccount = 65534;

bool CanChangeOwners() { return ::geteuid() == 0; }

void GiveAway(const fs::path& path) { ASSERT_EQ(::lchown(path.c_str(), kOtherAccount, kOtherAccount), 0) << path; }

struct AtPathCase {
  const char* name;
  // Puts something at `path` (a file in the fresh directory `directory`), or nothing.
  void (*place)(const fs::path& directory, const fs::path& path);
  bool cleared;
  bool needsRoot;
};

const std::vector<std::uint8_t> kForeign = {0xEE, 0xEE};

TEST(PrivateFile, OnlyAStaleFileOfOursMakesWayAndTheNewFileIsExclusiveAndPrivate) {
  const AtPathCase cases[] = {
      {"nothing", [](const fs::path&, const fs::path&) {}, true, false},
      {"stale file of ours", [](const fs::path&, const fs::path& path) { testsupport::WriteBytes(path, kForeign); },
       true, false},
      {"another account's file",
       [](const fs::path&, const fs::path& path) {
         testsupport::WriteBytes(path, kForeign);
         GiveAway(path);
       },
       false, true},
      {"link to a file",
       [](const fs::path& directory, const fs::path& path) {
         testsupport::WriteBytes(directory / "target", kForeign);
         fs::create_symlink(directory / "target", path);
       },
       false, false},
      {"directory", [](const fs::path&, const fs::path& path) { fs::create_directory(path); }, false, false},
  };
  const std::vector<std::uint8_t> data = {5, 6, 7};
  for (const AtPathCase& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.needsRoot && !CanChangeOwners()) {
      continue;  // Files of another account can only be made by root.
    }
    const testsupport::TempMachineRoot root;
    const fs::path path = root.path() / "private";
    c.place(root.path(), path);
    EXPECT_EQ(platform::RemoveOwnStaleFile(path.string()), c.cleared);
    // Exclusive: whatever is still there makes the write fail and stays as it was.
    EXPECT_EQ(platform::WritePrivateFile(path.string(), data), c.cleared);
    if (c.cleared) {
      EXPECT_EQ(testsupport::ReadBytes(path), data);
      EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    } else if (!fs::is_directory(path)) {
      EXPECT_EQ(testsupport::ReadBytes(path), kForeign);
    }
  }
  EXPECT_FALSE(platform::WritePrivateFile("/nonexistent-qvcs-directory/file", data));
}

struct TrustCase {
  const char* name;
  // Arranges the machine root `root` inside the fresh directory `parent`.
  void (*arrange)(const fs::path& parent, const fs::path& root);
  // What the problem says, after the path it names; empty when the root is trusted.
  const char* problem;
  bool needsRoot;
};

void MakeValue(const fs::path& root) { testsupport::WriteBytes(root / "registry/SOFTWARE/Classes/SSV/SSV_Data", {1}); }

TEST(MachineTrust, RefusesWhatOthersCouldHaveWrittenAndNamesIt) {
  const TrustCase cases[] = {
      {"own root below sticky /tmp", [](const fs::path&, const fs::path& root) { MakeValue(root); }, "", false},
      {"sticky root-owned parent",
       [](const fs::path& parent, const fs::path& root) {
         MakeValue(root);
         fs::permissions(parent, fs::perms::all | fs::perms::sticky_bit);
       },
       "", true},
      {"root open to all", [](const fs::path&, const fs::path& root) { fs::permissions(root, fs::perms::all); },
       "machine root ROOT is writable by group or others", false},
      {"root open to the group",
       [](const fs::path&, const fs::path& root) {
         fs::permissions(root, fs::perms::owner_all | fs::perms::group_all);
       },
       "machine root ROOT is writable by group or others", false},
      {"parent open to all without the sticky bit",
       [](const fs::path& parent, const fs::path&) { fs::permissions(parent, fs::perms::all); },
       "PARENT is writable by group or others", false},
      {"parent of another account", [](const fs::path& parent, const fs::path&) { GiveAway(parent); },
       "PARENT is owned by uid 65534, neither this account nor root", true},
      {"store directory of another account",
       [](const fs::path&, const fs::path& root) {
         MakeValue(root);
         GiveAway(root / "registry/SOFTWARE");
       },
       "ROOT/registry/SOFTWARE in the machine root is owned by uid 65534, neither this account nor root", true},
      {"value open to all",
       [](const fs::path&, const fs::path& root) {
         MakeValue(root);
         fs::permissions(root / "registry/SOFTWARE/Classes/SSV/SSV_Data", fs::perms::all);
       },
       "ROOT/registry/SOFTWARE/Classes/SSV/SSV_Data in the machine root is writable by group or others", false},
      {"linked root",
       [](const fs::path& parent, const fs::path& root) {
         fs::remove(root);
         fs::create_directory(parent / "elsewhere");
         fs::create_directory_symlink(parent / "elsewhere", root);
       },
       "machine root ROOT is a symbolic link", false},
      {"linked value",
       [](const fs::path& parent, const fs::path& root) {
         MakeValue(root);
         fs::remove(root / "registry/SOFTWARE/Classes/SSV/SSV_Data");
         testsupport::WriteBytes(parent / "planted", std::vector<std::uint8_t>(2883, 1));
         fs::create_symlink(parent / "planted", root / "registry/SOFTWARE/Classes/SSV/SSV_Data");
       },
       "ROOT/registry/SOFTWARE/Classes/SSV/SSV_Data in the machine root is a symbolic link", false},
  };
  for (const TrustCase& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.needsRoot && !CanChangeOwners()) {
      continue;  // Only root can own /tmp-like directories or give files away.
    }
    const testsupport::TempMachineRoot parent;
    const fs::path root = parent.path() / "root";
    fs::create_directory(root);
    ::setenv("QVCRYPTO_MACHINE_ROOT", root.c_str(), 1);
    c.arrange(parent.path(), root);
    std::string expected = c.problem;
    for (const auto& [name, path] : {std::pair{"ROOT", root.string()}, std::pair{"PARENT", parent.string()}}) {
      if (const std::size_t at = expected.find(name); at != std::string::npos) {
        expected.replace(at, std::string(name).size(), path);
      }
    }
    EXPECT_EQ(platform::MachinePathProblem("registry/SOFTWARE/Classes/SSV/SSV_Data"), expected);
    // The store applies the same rule to what it reads.
    SecureBlock value;
    EXPECT_EQ(platform::ReadMachineValue("SOFTWARE\\Classes\\SSV", "SSV_Data", 4000, platform::RegistryView::kNative64,
                                         value) == platform::StoreStatus::kOk,
              expected.empty() && fs::exists(root / "registry"));
  }
}

TEST(MachineLock, KeepsEveryOtherHolderOutUntilReleased) {
  const testsupport::TempMachineRoot root;
  const fs::path lockFile = root.path() / "ssv.lock";
  int other = -1;
  {
    const platform::MachineLock lock;
    ASSERT_EQ(lock.status(), platform::StoreStatus::kOk);
    EXPECT_EQ(fs::status(lockFile).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    // A second open file description, as another process would have.
    other = ::open(lockFile.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(other, 0);
    EXPECT_NE(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(errno, EWOULDBLOCK);
  }
  EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0) << "the lock outlived its holder";
  ::close(other);
}

}  // namespace
}  // namespace QVCryptoService
