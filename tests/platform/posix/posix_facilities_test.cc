// The POSIX system directory, private files, the machine root's trust rule and the machine lock.

#include "platform/machine_lock.h"
#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "platform/private_file.h"
#include "platform/replacement_file.h"
#include "platform/system_directory.h"
#include "tests/platform/machine_root_fixture.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

TEST(SystemDirectory, IsTheMachineRootOrItsDefault) {
  const testsupport::TempMachineRoot root;
  EXPECT_EQ(platform::SystemDirectory(), root.string());
  ::setenv("QVCRYPTO_MACHINE_ROOT", "", 1);
  EXPECT_EQ(platform::SystemDirectory(), "/var/lib/qvcrypto") << "an empty override is ignored";
}

// Files of another account can only be made by root: those cases are skipped for anyone else.
constexpr uid_t kOtherAccount = 65534;
void GiveAway(const fs::path& path) { ASSERT_EQ(::lchown(path.c_str(), kOtherAccount, kOtherAccount), 0) << path; }

const std::vector<std::uint8_t> kForeign = {0xEE, 0xEE};

TEST(PrivateFile, OnlyAStaleFileOfOursMakesWayAndTheNewFileIsExclusiveAndPrivate) {
  const struct {
    const char* name;
    void (*place)(const fs::path& path);  // puts something at `path`, in a fresh directory
    bool cleared;
    bool needsRoot;
  } cases[] = {
      {"nothing", [](const fs::path&) {}, true, false},
      {"stale file of ours", [](const fs::path& path) { WriteBytes(path, kForeign); }, true, false},
      {"another account's file",
       [](const fs::path& path) {
         WriteBytes(path, kForeign);
         GiveAway(path);
       },
       false, true},
      {"link to a file",
       [](const fs::path& path) {
         WriteBytes(path.string() + "-target", kForeign);
         fs::create_symlink(path.string() + "-target", path);
       },
       false, false},
      {"directory", [](const fs::path& path) { fs::create_directory(path); }, false, false},
  };
  const std::vector<std::uint8_t> data = {5, 6, 7};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.needsRoot && ::geteuid() != 0) {
      continue;
    }
    const testsupport::TempMachineRoot root;
    const fs::path path = root.path() / "private";
    c.place(path);
    EXPECT_EQ(platform::RemoveOwnStaleFile(path.string()), c.cleared);
    // Exclusive: whatever is still there makes the write fail and stays as it was.
    EXPECT_EQ(platform::WritePrivateFile(path.string(), data), c.cleared);
    if (c.cleared) {
      EXPECT_EQ(ReadBytes(path), data);
      EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    } else if (!fs::is_directory(path)) {
      EXPECT_EQ(ReadBytes(path), kForeign);
    }
  }
  EXPECT_FALSE(platform::WritePrivateFile("/nonexistent-qvcs-directory/file", data));
}

// A private directory is made only where nothing is, never through a link, and only as asked.
TEST(PrivateDirectory, IsMadeOnlyWhereNothingIsAndOnlyOwnerOnly) {
  const testsupport::TempMachineRoot root;
  ASSERT_TRUE(platform::MakePrivateDirectory((root.path() / "made").string()));
  EXPECT_EQ(fs::symlink_status(root.path() / "made").permissions(), fs::perms::owner_all);
  fs::create_directory(root.path() / "target");
  fs::create_directory_symlink(root.path() / "target", root.path() / "link");
  fs::create_symlink(root.path() / "nowhere", root.path() / "dangling");
  WriteBytes(root.path() / "file", kForeign);
  for (const char* name : {"made", "target", "link", "dangling", "file"}) {
    EXPECT_FALSE(platform::MakePrivateDirectory((root.path() / name).string())) << name;
  }
  EXPECT_FALSE(fs::exists(root.path() / "nowhere")) << "made through a dangling link";
  // A umask that takes the owner's bits away leaves a directory that is not the one asked for.
  const mode_t umask = ::umask(0277);
  EXPECT_FALSE(platform::MakePrivateDirectory((root.path() / "masked").string()));
  ::umask(umask);
}

// A replacement is private unless asked to keep the owner and mode of what it replaces, and a
// link at the path is replaced itself, never written through.
TEST(ReplacementFile, IsPrivateOrKeepsTheReplacedOwnerAndModeAndNeverFollowsALink) {
  constexpr auto kShared =
      fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read;
  constexpr auto kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;
  const struct {
    const char* name;
    bool existingShared;   // a file of mode 0644 at the path, else nothing
    bool existingForeign;  // that file given to another account (root only)
    platform::ReplacementMode mode;
    fs::perms expected;  // owned by this account, or by the other one when it owned the file replaced
  } cases[] = {
      {"new, private", false, false, platform::ReplacementMode::kPrivate, kOwnerOnly},
      {"new, keeping", false, false, platform::ReplacementMode::kKeepExisting, kOwnerOnly},
      {"replacing, private", true, false, platform::ReplacementMode::kPrivate, kOwnerOnly},
      {"replacing, keeping", true, false, platform::ReplacementMode::kKeepExisting, kShared},
      {"replacing another's, keeping", true, true, platform::ReplacementMode::kKeepExisting, kShared},
  };
  const std::vector<std::uint8_t> data = {5, 6, 7};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.existingForeign && ::geteuid() != 0) {
      continue;
    }
    const testsupport::TempMachineRoot root;
    const fs::path path = root.path() / "out";
    if (c.existingShared) {
      WriteBytes(path, kForeign);
      fs::permissions(path, kShared);
    }
    if (c.existingForeign) {
      GiveAway(path);
    }
    platform::ReplacementFile file(path.string(), c.mode);
    EXPECT_TRUE(file.Write(data));
    EXPECT_TRUE(file.Commit());
    EXPECT_EQ(fs::status(path).permissions(), c.expected);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    const std::pair<uid_t, gid_t> owner =
        c.existingForeign ? std::pair<uid_t, gid_t>(kOtherAccount, kOtherAccount) : std::pair(::geteuid(), ::getegid());
    EXPECT_EQ(std::pair(status.st_uid, status.st_gid), owner);
    EXPECT_EQ(ReadBytes(path), data);
  }
  const testsupport::TempMachineRoot root;
  const fs::path target = root.path() / "target";
  WriteBytes(target, kForeign);
  fs::create_symlink(target, root.path() / "link");
  platform::ReplacementFile file((root.path() / "link").string());
  EXPECT_TRUE(file.Write(data));
  EXPECT_TRUE(file.Commit());
  EXPECT_FALSE(fs::is_symlink(root.path() / "link"));
  EXPECT_EQ(ReadBytes(root.path() / "link"), data);
  EXPECT_EQ(ReadBytes(target), kForeign);
}

// In the machine root `root`, inside the fresh directory `parent`, with a value stored at `value`.
struct Machine {
  fs::path parent, root, value;
};

TEST(MachineTrust, RefusesWhatOthersCouldHaveWrittenAndNamesIt) {
  const struct {
    const char* name;
    void (*arrange)(const Machine& machine);
    const char* problem;  // after the path it names; empty when the root is trusted
    bool needsRoot;
  } cases[] = {
      {"own root below sticky /tmp", [](const Machine&) {}, "", false},
      {"sticky root-owned parent",
       [](const Machine& m) { fs::permissions(m.parent, fs::perms::all | fs::perms::sticky_bit); }, "", true},
      {"root open to all", [](const Machine& m) { fs::permissions(m.root, fs::perms::all); },
       "machine root ROOT is writable by group or others", false},
      {"root open to the group",
       [](const Machine& m) { fs::permissions(m.root, fs::perms::owner_all | fs::perms::group_all); },
       "machine root ROOT is writable by group or others", false},
      {"parent open to all without the sticky bit", [](const Machine& m) { fs::permissions(m.parent, fs::perms::all); },
       "PARENT is writable by group or others", false},
      {"parent of another account", [](const Machine& m) { GiveAway(m.parent); },
       "PARENT is owned by uid 65534, neither this account nor root", true},
      {"store directory of another account", [](const Machine& m) { GiveAway(m.root / "registry/SOFTWARE"); },
       "ROOT/registry/SOFTWARE in the machine root is owned by uid 65534, neither this account nor root", true},
      {"value open to all", [](const Machine& m) { fs::permissions(m.value, fs::perms::all); },
       "VALUE in the machine root is writable by group or others", false},
      {"linked root",
       [](const Machine& m) {
         fs::rename(m.root, m.parent / "elsewhere");
         fs::create_directory_symlink(m.parent / "elsewhere", m.root);
       },
       "machine root ROOT is a symbolic link", false},
      {"linked value",
       [](const Machine& m) {
         WriteBytes(m.parent / "planted", {1, 2});
         fs::remove(m.value);
         fs::create_symlink(m.parent / "planted", m.value);
       },
       "VALUE in the machine root is a symbolic link", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.needsRoot && ::geteuid() != 0) {
      continue;  // only root can own /tmp-like directories or give files away
    }
    const testsupport::TempMachineRoot parent;
    const Machine machine{parent.path(), parent.path() / "root",
                          parent.path() / "root/registry/SOFTWARE/Classes/SSV/SSV_Data"};
    WriteBytes(machine.value, {1});
    ::setenv("QVCRYPTO_MACHINE_ROOT", machine.root.c_str(), 1);
    c.arrange(machine);
    std::string expected = c.problem;
    for (const auto& [name, path] :
         {std::pair{"VALUE", machine.value}, std::pair{"ROOT", machine.root}, std::pair{"PARENT", machine.parent}}) {
      if (const std::size_t at = expected.find(name); at != std::string::npos) {
        expected.replace(at, std::string(name).size(), path.string());
      }
    }
    EXPECT_EQ(platform::MachinePathProblem("registry/SOFTWARE/Classes/SSV/SSV_Data"), expected);
    // The store applies the same rule to what it reads.
    testsupport::ReadStoreValue(testsupport::kSsvKey, testsupport::kSsvValue, 4000,
                                expected.empty() ? platform::StoreStatus::kOk : platform::StoreStatus::kAccessDenied);
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
