#pragma once

// What the tool needs to know about the machine's SSV beyond the library's interface: where it
// stages a new record, whether the machine root may be trusted, and where a loaded record came
// from. It asks the library's own platform layer, so that the tool and the library apply one rule.

#include <string>

namespace qvcrypto::machine {

// SsvStagingDirectory is where the tool has the library stage a new record: the machine root
// (POSIX), which only this account and root may write, or the Windows system directory.
std::string SsvStagingDirectory();

// SsvStagingFile is the staging file in that directory, which wins over the store when it holds
// exactly one record.
std::string SsvStagingFile();

// SsvRecordLocation says where the library keeps this machine's SSV record.
std::string SsvRecordLocation();

// MachineRootProblem is empty when the machine root and the paths to the SSV's store locations
// can be trusted, else one line naming the path and what is wrong with it ("machine root /x is
// writable by group or others").
std::string MachineRootProblem();

// SsvPresent is true when there is an SSV to keep: a staging file of this account or a value in
// one of the store's locations, whether or not it loads. Unlike asking the library's engine, it
// logs nothing.
bool SsvPresent();

// StagingFileHolds is true when the staging file holds exactly one record with `componentId`:
// the record the library loaded came from there and not from the store.
bool StagingFileHolds(const std::string& componentId);

}  // namespace qvcrypto::machine
