#pragma once

#include <optional>
#include <string>

namespace testsupport {

// This machine's identity for a test's lifetime, restored afterwards: a file QVCRYPTO_MACHINE_ID_FILE
// names on POSIX (`guid` without its dashes), MachineGuid in the registry (Wine's) on Windows.
class TempMachineIdentity {
 public:
  TempMachineIdentity();
  ~TempMachineIdentity();
  TempMachineIdentity(const TempMachineIdentity&) = delete;
  TempMachineIdentity& operator=(const TempMachineIdentity&) = delete;
  void Set(const std::string& guid) const;  // "11111111-2222-4333-8444-555555555555"
  void Remove() const;                      // no identity at all

 private:
  std::string m_location;
  std::optional<std::string> m_previous;
};

}  // namespace testsupport
