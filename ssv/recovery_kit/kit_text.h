#pragma once

// The text of one recovery kit: a one-line JSON object that an operator can read. Everything but
// "sealed" is the clear header, which the seal authenticates:
//
//   {"backup":"<32 hex>","component":"<component id>","created":"2026-01-02T03:04:05Z",
//    "format":"qvcrypto-ssv-kit-1","holder":3,"holders":5,"kdf":"argon2id","kdf-lanes":1,
//    "kdf-memory-kib":65536,"kdf-passes":3,"kdf-salt":"<base64 of 16 bytes>","nonce":"<base64 of 12 bytes>",
//    "sealed":"<base64 of the AES-256-GCM cipher text of the holder's share and its tag>",
//    "threshold":3}
//
// A kit is taken only in exactly the form WriteKitText gives it, so that no changed byte goes
// unnoticed, whether the seal covers it or not.

#include <qvcryptoservice/password_hash.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService {

inline constexpr std::string_view kKitFormat = "qvcrypto-ssv-kit-1";
inline constexpr std::string_view kKitKdfName = "argon2id";
inline constexpr std::size_t kKitBackupIdSize = 16;
inline constexpr std::size_t kKitSaltSize = 16;
inline constexpr std::size_t kKitNonceSize = 12;
inline constexpr std::size_t kKitTagSize = 16;
// Far above any kit (a record's share sealed is under 4 KiB of base64); longer texts are refused
// before they are parsed.
inline constexpr std::size_t kMaxKitTextSize = 16384;

// The cost new kits get: 64 MiB and 3 passes, more than a password hash, as a kit is opened
// only when a machine is restored.
inline constexpr Argon2idParameters kKitArgon2id{65536, 3, 1};
// The most memory and passes a kit may ask for. Its cost is read from the clear header before
// anything in it is authenticated, so a changed or made-up header could otherwise have a restore
// spend up to Argon2id's own limits on every kit; this library writes none above these.
inline constexpr std::uint32_t kKitMaxMemoryKiB = 4 * kKitArgon2id.memoryKiB;
inline constexpr std::uint32_t kKitMaxPasses = 16;

// The key derivation named in a kit: Argon2id with its parameters and salt.
struct KitKdf {
  Argon2idParameters parameters{};
  std::vector<std::uint8_t> salt;
};

struct KitHeader {
  std::string backupId;  // lowercase hex of kKitBackupIdSize random bytes, one per backup
  std::string componentId;
  std::string created;  // UTC, "YYYY-MM-DDTHH:MM:SSZ"
  std::uint32_t holder = 0;
  std::uint32_t holders = 0;
  std::uint32_t threshold = 0;
  KitKdf kdf;
  std::vector<std::uint8_t> nonce;
};

struct KitText {
  KitHeader header;
  std::vector<std::uint8_t> sealed;  // cipher text followed by the tag
};

// WriteKitText gives the kit's text, ending in "\n".
std::string WriteKitText(const KitText& kit);

// KitAssociatedData is the clear header as the seal authenticates it: the kit's object without
// "sealed", in the same writing.
std::string KitAssociatedData(const KitHeader& header);

// ReadKitText takes a kit's text apart. Returns false, with `problem` saying what is wrong in a
// few words, for a text that is too long, is not a kit object, has a field of the wrong kind
// or out of range (holder outside 1..holders, holders above 16, threshold outside 2..holders,
// salt, nonce or seal of the wrong size, memory or passes above kKitMaxMemoryKiB or
// kKitMaxPasses), or differs in any byte from the way it is written. The rest of the KDF's
// parameters are judged when the kit is opened.
bool ReadKitText(std::string_view text, KitText& kit, std::string& problem);

// UtcTimestamp gives the current time as "YYYY-MM-DDTHH:MM:SSZ".
std::string UtcTimestamp();

}  // namespace QVCryptoService
