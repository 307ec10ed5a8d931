#pragma once

// This machine's identity: a value the operating system keeps for the installation, the same
// for every process and account, and different on a machine made by copying this one's disk
// once the copy has been given an identity of its own.
//
//   POSIX:   the contents of /etc/machine-id, 32 hex digits (a final line break and surrounding
//            blanks are not part of it); QVCRYPTO_MACHINE_ID_FILE, when set and not empty, names
//            another file to read instead (for tests and containers). Either file is believed
//            only when it is owned by this account or root and not writable by group or others.
//   Windows: the string value MachineGuid of HKLM\SOFTWARE\Microsoft\Cryptography, read from
//            the 64-bit registry view, a GUID such as 047a0c6f-c6e8-4f92-867d-0af8c4ac0339.

#include <string>

namespace QVCryptoService::platform {

struct MachineIdentity {
  // The identity as the system keeps it; empty when there is none to be had.
  std::string value;
  // When `value` is empty, one line that says where the identity was looked for and what was
  // wrong ("/etc/machine-id is not 32 hex digits").
  std::string problem;
};

// ReadMachineIdentity reads the identity afresh. It never guesses: a missing, unreadable or
// malformed identity gives an empty value and the problem.
MachineIdentity ReadMachineIdentity();

}  // namespace QVCryptoService::platform
