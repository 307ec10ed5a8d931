#include "keystore_db/key_set_seal.h"

#include "keystore_db/field_encoding.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <climits>

namespace QVCryptoService::keystore_db {
namespace {

constexpr std::uint8_t kFormat = 0x01;
constexpr std::size_t kGenerationLength = 8;
constexpr std::size_t kMacLength = 32;
// The summary key is HMAC-SHA-256(master key, this label): never the master key itself, which
// wraps the keys under AES-GCM.
constexpr std::string_view kKeyLabel = "QVKeystoreDb key set summary key v1";
constexpr std::string_view kSummaryContext = "QVKeystoreDb key set v1";

bool Hmac(const std::uint8_t* key, std::size_t keyLength, std::string_view data, std::uint8_t* out) {
  unsigned int written = 0;
  return keyLength <= static_cast<std::size_t>(INT_MAX) &&
         HMAC(EVP_sha256(), key, static_cast<int>(keyLength), reinterpret_cast<const unsigned char*>(data.data()),
              data.size(), out, &written) != nullptr &&
         written == kMacLength;
}

}  // namespace

KeySetSeal::KeySetSeal(const SecureBlock& masterKey, std::string keystoreId) : keystoreId_(std::move(keystoreId)) {
  SecureBlock derived(kMacLength);
  if (!masterKey.empty() && Hmac(masterKey.data(), masterKey.size(), kKeyLabel, derived.data())) {
    key_ = std::move(derived);
  }
}

std::optional<std::string> KeySetSeal::Mac(std::uint64_t generation, const std::vector<StoredKey>& rows) const {
  if (key_.empty()) {
    return std::nullopt;
  }
  // In byte order of name, then by version: the same for every database and collation.
  std::vector<const StoredKey*> sorted;
  sorted.reserve(rows.size());
  for (const StoredKey& row : rows) {
    sorted.push_back(&row);
  }
  std::sort(sorted.begin(), sorted.end(), [](const StoredKey* a, const StoredKey* b) {
    return a->name != b->name ? a->name < b->name : a->version < b->version;
  });
  std::string data(kSummaryContext);
  AppendField(data, keystoreId_);
  AppendNumber(data, generation, kGenerationLength);
  AppendNumber(data, sorted.size(), 8);
  for (const StoredKey* row : sorted) {
    AppendField(data, row->name);
    AppendNumber32(data, row->version);
    AppendNumber32(data, row->state);
    AppendField(data, row->algorithm);
    AppendNumber32(data, row->keyLength);
    AppendNumber32(data, row->usageMask);
  }
  std::string mac(kMacLength, '\0');
  if (!Hmac(key_.data(), key_.size(), data, reinterpret_cast<std::uint8_t*>(mac.data()))) {
    return std::nullopt;
  }
  return mac;
}

std::optional<std::string> KeySetSeal::Seal(std::uint64_t generation, const std::vector<StoredKey>& rows) const {
  std::optional<std::string> mac = Mac(generation, rows);
  if (!mac) {
    return std::nullopt;
  }
  std::string stored(1, static_cast<char>(kFormat));
  AppendNumber(stored, generation, kGenerationLength);
  stored += *mac;
  return stored;
}

std::optional<std::uint64_t> KeySetSeal::Open(const std::string& stored, const std::vector<StoredKey>& rows) const {
  if (stored.size() != 1 + kGenerationLength + kMacLength || static_cast<std::uint8_t>(stored[0]) != kFormat) {
    return std::nullopt;
  }
  std::uint64_t generation = 0;
  for (std::size_t index = 1; index <= kGenerationLength; ++index) {
    generation = (generation << 8) | static_cast<std::uint8_t>(stored[index]);
  }
  const std::optional<std::string> expected = Mac(generation, rows);
  if (!expected || CRYPTO_memcmp(expected->data(), stored.data() + 1 + kGenerationLength, kMacLength) != 0) {
    return std::nullopt;
  }
  return generation;
}

}  // namespace QVCryptoService::keystore_db
