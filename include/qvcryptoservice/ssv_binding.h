#pragma once

// Whether this machine's SSV record was made here or copied from another machine. Beside the
// record the library keeps a binding: the record's component id and an authenticator, under a
// key derived from the SSV key, over that id and this machine's identity (Linux: /etc/machine-id;
// Windows: MachineGuid of HKLM\SOFTWARE\Microsoft\Cryptography). A record copied to another
// machine, a cloned virtual machine's for instance, takes its binding along, which then no longer
// matches. The SSV functions work on a copied record all the same: what a copy means is the
// host's decision.

#include <qvcryptoservice/qvcs_export.h>

#include <string>

namespace QVCryptoService {

enum class SsvBindingState {
  // The binding matches this machine's identity and this record.
  kBoundToThisMachine = 0,
  // The binding does not match this machine's identity or this record: the record, or the
  // binding, came from elsewhere (or the binding was altered).
  kCopiedFromAnotherMachine = 1,
  // No binding beside the record: one made before bindings existed, or never bound.
  kNoBindingYet = 2,
  // No answer: no machine identity, no usable SSV, or a binding that cannot be read.
  kCannotTell = 3,
};

// CheckSsvBinding compares the stored binding with this machine's identity and its SSV record,
// both read afresh. For kCannotTell, `reason` (when given) receives one line saying why;
// otherwise it is cleared.
QVCS_EXPORT SsvBindingState CheckSsvBinding(std::string* reason = nullptr);

// BindSsvToMachine writes a binding of the current record to this machine, replacing whatever
// binding was there: after `ssv init`, for a record that has none, or after an intended move.
// Returns true once the binding is stored; `replaced` (when given) receives what CheckSsvBinding
// answered before. Returns false, with `reason` (when given) saying why, when there is no
// identity, no usable SSV or the store refuses; nothing is written then.
QVCS_EXPORT bool BindSsvToMachine(SsvBindingState* replaced = nullptr, std::string* reason = nullptr);

// SsvBindingStateText names a state: "bound to this machine", "copied from another machine",
// "no binding yet", "cannot tell"; "unknown state" for a value outside the enumeration.
QVCS_EXPORT const char* SsvBindingStateText(SsvBindingState state);

}  // namespace QVCryptoService
