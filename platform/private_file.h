#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService::platform {

// WritePrivateFile creates `path`, which must not exist yet (neither a file nor a symbolic link),
// and writes `data` to it. The file is private from its creation on: mode 0600 where the system
// has file modes (O_CREAT|O_EXCL|O_NOFOLLOW), a security descriptor that admits SYSTEM and
// Administrators only on Windows (CREATE_NEW). Returns false when anything is at `path` already
// or any step fails; a file this call created is then removed again.
bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data);

// RemoveOwnStaleFile clears `path` for WritePrivateFile: a regular file left there by this
// account (owned by the caller; on Windows any file, since only administrators may write where
// the library keeps such files) is removed. Returns true when nothing is at `path` afterwards,
// false when something that is not ours is there (another user's file, a link, a directory):
// it is left in place and the caller refuses to go on.
bool RemoveOwnStaleFile(const std::string& path);

// MakePrivateDirectory creates the directory `path`, whose parent must exist and which must not:
// nothing at all may be there, not even a link. The directory is private from its creation on
// (mode 0700; on Windows a DACL that admits this account alone), and what is at `path` afterwards
// is checked to be it: a directory, not a link (nor a junction), and where the system has file
// modes this account's with mode 0700. Returns false when anything was there already or the
// check fails; what is there is then left as it is.
bool MakePrivateDirectory(const std::string& path);

}  // namespace QVCryptoService::platform
