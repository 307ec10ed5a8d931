// The machine identity read from the file QVCRYPTO_MACHINE_ID_FILE names (or /etc/machine-id).

#include "platform/machine_identity.h"
#include "platform/system_directory.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdlib>

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
    if (row["problem"].empty()) {
      EXPECT_EQ(ReadMachineIdentity().value, row["identity"]);
    } else {
      ExpectProblem(path, row["problem"]);
    }
  }
  fs::remove(path);
  ExpectProblem(path, "cannot be read: No such file or directory");
  fs::create_directory(path);
  ExpectProblem(path, "is not a machine identity file");
  fs::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  ExpectProblem(path, "is not a machine identity file");  // without waiting for a writer
  // Unset or empty, the variable leaves the system's own file.
  ::setenv(kMachineIdFileVariable, "", 1);
  const MachineIdentity system = ReadMachineIdentity();
  EXPECT_TRUE(system.value.size() == 32 || system.problem.rfind(std::string(kDefaultMachineIdFile) + " ", 0) == 0)
      << system.problem;
  ::unsetenv(kMachineIdFileVariable);
}

}  // namespace
}  // namespace QVCryptoService::platform
