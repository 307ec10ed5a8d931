#pragma once

// The places an SSV record is read from: the staging file and the machine store's locations.

#include <qvcryptoservice/secure_block.h>

#include <string>

namespace QVCryptoService {

// ReadRecordFile reads `path` into `record` when the file holds exactly one record (2883
// bytes). Returns false, with `record` empty, for a missing, unreadable or other-sized file and
// for one that is not ours (a link, another account's file, one open to group or others).
bool ReadRecordFile(const std::string& path, SecureBlock& record);

// ReadStoredRecord reads the record from the first machine-store location that holds exactly
// 2883 bytes. Returns false, with `record` empty, when none does.
bool ReadStoredRecord(SecureBlock& record);

// SsvExists reports whether an SSV is already present: a staging file of ours of any size in the
// system directory, or a value of at most 2883 bytes in any store location.
bool SsvExists();

}  // namespace QVCryptoService
