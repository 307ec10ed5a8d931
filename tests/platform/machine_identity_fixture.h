#pragma once

// This machine's identity, set by a test for its lifetime and restored afterwards: a file named
// by QVCRYPTO_MACHINE_ID_FILE on POSIX, MachineGuid in the registry (under Wine, the prefix's) on
// Windows.

#include <optional>
#include <string>

namespace testsupport {

class TempMachineIdentity {
 public:
  TempMachineIdentity();
  ~TempMachineIdentity();
  TempMachineIdentity(const TempMachineIdentity&) = delete;
  TempMachineIdentity& operator=(const TempMachineIdentity&) = delete;

  // Set makes `guid` ("11111111-2222-4333-8444-555555555555") the identity: as it is on Windows,
  // its 32 hex digits on POSIX. Remove leaves the machine without an identity.
  void Set(const std::string& guid) const;
  void Remove() const;

 private:
  std::string m_location;
  std::optional<std::string> m_previous;
};

}  // namespace testsupport
