#pragma once

// A direct reader for cipher records in exactly the compact form this library writes, so that
// decryption need not build a JSON tree for every record it reads.

#include <qvcryptoservice/cipher_meta.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace QVCryptoService {

// ReadCompactCipherRecord reads `json` when it is a record as the compact writer lays it out: one
// object, members in ascending name order drawn from cd, cn, dn, it, iv, kn, kv, sa and v,
// strings of printable ASCII without escapes, integers of one to nine digits without a sign or
// leading zero, "v" not 0, "cn", "iv" and "cd" present, every base64 field well formed, and at
// most a line feed after the object. It then fills `meta` (only the members present, as the
// general reader does) and `cipherText` and returns true. For any other text it changes nothing
// and returns false: the caller reads it with the general JSON reader, which gives the same
// answer for every text accepted here.
bool ReadCompactCipherRecord(std::string_view json, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText);

}  // namespace QVCryptoService
