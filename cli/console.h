#pragma once

// The few operating-system services the tool needs beyond the library; cli/posix/ and
// cli/windows/ implement them, chosen by the build.

#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace qvcrypto::console {

// UseBinaryStandardStreams stops the C runtime from translating line ends on standard input and
// output, so data passes through byte for byte.
void UseBinaryStandardStreams();

// WriteToStandardOutput writes `length` bytes to the standard output descriptor, bypassing
// stdio and its buffer; false when the system refuses any of them.
bool WriteToStandardOutput(const std::uint8_t* data, std::size_t length);

// StandardInputFileSize gives how many bytes are left to read on standard input when it is a
// regular file (its size less the position reading starts from); nothing for a pipe, a terminal
// or a device, whose length is not known before they are read.
std::optional<std::uint64_t> StandardInputFileSize();

// ReadPasswordWithoutEcho writes `prompt` to the terminal, reads one line from it with echo off
// and stores it (without the line end) in `password`. Returns false when the process has no
// terminal to ask; `password` is then left empty.
bool ReadPasswordWithoutEcho(const std::string& prompt, QVCryptoService::SecureBlock& password);

// SetEnvironment sets a variable of this process; false when the system refuses.
bool SetEnvironment(const std::string& name, const std::string& value);

// MachineRootSupported is true where the library keeps its machine-wide state under a directory
// that QVCRYPTO_MACHINE_ROOT can move.
bool MachineRootSupported();

}  // namespace qvcrypto::console
