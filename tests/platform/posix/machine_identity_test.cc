// The machine identity read from the file QVCRYPTO_MACHINE_ID_FILE names (or /etc/machine-id).

#include "platform/machine_identity.h"
#include "platform/system_directory.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;

void ExpectProblem(const std::string& path, const std::string& problem) {
  const MachineIdentity identity = ReadMachineIdentity();
  EXPECT_EQ(identity.value, "") << path;
  EXPECT_EQ(identity.problem, path + " " + problem);
}

TEST(MachineIdentity, TakesThe32HexDigitsOfTheFileAndNamesWhatElseItFinds) {
  const testsupport::TempMachineRoot directory;
  const std::string path = (directory.path() / "machine-id").string();
  ::setenv(kMachineIdFileVariable, path.c_str(), 1);
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("platform_machine_ids.tsv")) {
    SCOPED_TRACE(row.where);
    testsupport::WriteBytes(path, std::vector<std::uint8_t>(row["content"].begin(), row["content"].end()));
    ASSERT_EQ(::chmod(path.c_str(), static_cast<mode_t>(std::stoul(row["mode"], nullptr, 8))), 0);
    if (row["problem"].empty()) {
      EXPECT_EQ(ReadMachineIdentity().value, row["identity"]);
    } else {
      ExpectProblem(path, row["problem"]);
    }
  }
  fs::remove(path);
  ExpectProblem(path, "cannot be read: No such file or directory");
  for (const bool fifo : {false, true}) {  // a FIFO without waiting for a writer
    fs::remove(path);
    ASSERT_EQ(fifo ? ::mkfifo(path.c_str(), 0600) : ::mkdir(path.c_str(), 0700), 0);
    ExpectProblem(path, "is not a machine identity file");
  }
  ::setenv(kMachineIdFileVariable, "", 1);  // an empty variable leaves the system's own file
  const MachineIdentity system = ReadMachineIdentity();
  EXPECT_TRUE(system.value.size() == 32 || system.problem.rfind(kDefaultMachineIdFile, 0) == 0) << system.problem;
  ::unsetenv(kMachineIdFileVariable);
}

}  // namespace
}  // namespace QVCryptoService::platform
