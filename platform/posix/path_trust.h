#pragma once

// The ownership rule of the machine's state on POSIX, shared by the store, the lock and the
// trust checks.

#include <qvcryptoservice/secure_block.h>

#include <sys/stat.h>

#include <cstddef>
#include <string>

namespace QVCryptoService::platform {

// IsTrustedOwner: this account or root.
bool IsTrustedOwner(uid_t owner) noexcept;

// IsTrustedStatus: owned by this account or root, and not writable by group or others.
bool IsTrustedStatus(const struct stat& status) noexcept;

// TrustProblem says why `what`, with `status`, fails IsTrustedStatus ("<what> is owned by uid
// 1000, neither this account nor root", "<what> is writable by group or others"); empty when it
// passes.
std::string TrustProblem(const std::string& what, const struct stat& status);

// ReadTrustedFileAt reads at most `limit` bytes of `path` like ReadTrustedFile. Returns 0, an
// errno value, ELOOP for a link, or EPERM for a file that is not a trusted regular file.
int ReadTrustedFileAt(const std::string& path, std::size_t limit, SecureBlock& content);

}  // namespace QVCryptoService::platform
