#pragma once

// The binding of an SSV record to a machine, kept in the machine store beside the record:
//
//   offset 0   1 byte    version (1)
//   offset 1   32 bytes  component id of the record it binds (ASCII hex, as in the record)
//   offset 33  32 bytes  HMAC-SHA256 over bytes 0..32 followed by the machine identity, under a
//                        key derived from the SSV key with HKDF-SHA256 (no salt, info
//                        kSsvBindingKeyLabel)
//
// Only the holder of the SSV key can make a binding that matches, and one made on another
// machine, or for another record, does not match here.

#include <qvcryptoservice/ssv_binding.h>

#include "ssv/record_layout.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService {

inline constexpr SsvStoreLocation kSsvBindingLocation{kCurrentSsvStoreLocation.key, "SSV_Binding"};
inline constexpr std::uint8_t kSsvBindingVersion = 1;
inline constexpr std::size_t kSsvBindingTagSize = 32;
inline constexpr std::size_t kSsvBindingSize = 1 + kComponentIdSize + kSsvBindingTagSize;
inline constexpr std::string_view kSsvBindingKeyLabel = "QVCryptoService SSV machine binding v1";

// An answer about a binding; `reason` is one line for kCannotTell and empty otherwise.
struct SsvBindingAnswer {
  SsvBindingState state;
  std::string reason;
};

// SealSsvBinding makes the binding of `componentId` (32 characters) to the machine `identity`
// under `ssvKey` into `binding`, replacing its contents. Returns false, with `binding` empty,
// for a component id of another length or when OpenSSL fails.
bool SealSsvBinding(std::string_view componentId, std::span<const std::uint8_t> ssvKey, std::string_view identity,
                    std::vector<std::uint8_t>& binding);

// JudgeSsvBinding compares the stored `binding` with the one this record would have on this
// machine: kBoundToThisMachine when they are equal, kCopiedFromAnotherMachine when a binding of
// this version differs in any byte, kCannotTell for another size or version or when the
// comparison binding cannot be made.
SsvBindingAnswer JudgeSsvBinding(std::span<const std::uint8_t> binding, std::string_view componentId,
                                 std::span<const std::uint8_t> ssvKey, std::string_view identity);

// SsvBindingNamesAnotherRecord is true for a binding of this version and size whose component id
// is not `componentId`: the binding of a record that is no longer there.
bool SsvBindingNamesAnotherRecord(std::span<const std::uint8_t> binding, std::string_view componentId);

// BindSsvWhereUnbound binds the current record to this machine, as BindSsvToMachine does, where
// there is no binding or the binding names another record (a record restored over another one);
// a binding of this record is kept whether it matches this machine or not, as is one this
// library cannot read. True when it wrote a binding.
bool BindSsvWhereUnbound() noexcept;

}  // namespace QVCryptoService
