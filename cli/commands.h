#pragma once

// The commands of qvcrypto. Each returns its exit code or throws ToolError; arguments after
// the command words are in Invocation::words from index `wordCount` on.

#include "cli/arguments.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

int RunSsvInit(const Invocation& invocation);
int RunSsvStatus(const Invocation& invocation);
int RunSsvRebind(const Invocation& invocation);
int RunSsvEncrypt(const Invocation& invocation);
int RunSsvDecrypt(const Invocation& invocation);
// RestoredBindingLine is the "binding:" line after a restore: the record's binding as it now
// stands, "written now" when the restore bound it (`written`).
std::string RestoredBindingLine(bool written);

int RunEncrypt(const Invocation& invocation);
int RunDecrypt(const Invocation& invocation);
int RunRewrap(const Invocation& invocation);

// rewrap's synopsis: one text as RunRewrap does it, or files of texts re-made in place.
inline constexpr std::string_view kRewrapSynopsis =
    "rewrap --keystore-config FILE | --demo-key [--output FILE] [TEXT] > text, or rewrap --in-place "
    "[--include-demo-key] --keystore-config FILE PATH...";
// kIncludeDemoKey lets rewrap --in-place re-make the texts of the built-in demo key too, which
// anyone can make: re-made under a real key, a forged one would pass for genuine.
inline constexpr std::string_view kIncludeDemoKey = "--include-demo-key";
// RunRewrapCommand is rewrap: RunRewrap, or with --in-place every outdated keystore text in the
// files of PATH... re-made under the active version of its key, each file replaced whole.
int RunRewrapCommand(const Invocation& invocation);
// RunAudit judges every text in the files of PATH... by the upgrade check.
int RunAudit(const Invocation& invocation);

int RunHashDigest(const Invocation& invocation);
int RunHashChecksum(const Invocation& invocation);
int RunHashPassword(const Invocation& invocation);
int RunHashDerive(const Invocation& invocation);
int RunVerifyDigest(const Invocation& invocation);
int RunVerifyChecksum(const Invocation& invocation);
int RunVerifyPassword(const Invocation& invocation);
int RunHmacSign(const Invocation& invocation);
int RunHmacVerify(const Invocation& invocation);

int RunInspect(const Invocation& invocation);
int RunExplain(const Invocation& invocation);
int RunSelftest(const Invocation& invocation);

// CommandArgument returns the command's `index`th own argument, or null when it has fewer.
const std::string* CommandArgument(const Invocation& invocation, std::size_t index);
// CommandArguments returns the command's own arguments from the `first`th on.
std::vector<std::string> CommandArguments(const Invocation& invocation, std::size_t first);

}  // namespace qvcrypto
