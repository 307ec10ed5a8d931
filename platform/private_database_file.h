#pragma once

#include <string>

namespace QVCryptoService::platform {

// PreparePrivateDatabaseFile makes `path` safe for a database library to open. When nothing is
// there it creates an empty file that is private from its creation on (O_CREAT|O_EXCL|O_NOFOLLOW
// with mode 0600; CREATE_NEW on Windows, where the file inherits its directory's ACL). An
// existing file is accepted only when it is a regular file (not a symbolic link) owned by this
// account and not writable by group or others. False with a one-line `reason` otherwise.
bool PreparePrivateDatabaseFile(const std::string& path, std::string& reason);

// MakePrivateDirectories creates `path` and any missing parent, each new directory private from
// its creation on (mode 0700). True when `path` is a directory afterwards.
bool MakePrivateDirectories(const std::string& path);

}  // namespace QVCryptoService::platform
