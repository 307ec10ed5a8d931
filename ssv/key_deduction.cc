#include "ssv/key_deduction.h"

#include "frame/fixed_names.h"

#include <algorithm>
#include <string_view>

namespace QVCryptoService {

namespace {

// Mixed into every SSV key, so that the group secrets alone are not the key.
constexpr std::string_view kKeyText = "qemo_lirat_pavu_qemo_lirat_pavu_";
static_assert(kKeyText.size() == kFixedCipherKeyLength);

void XorInto(SecureBlock& key, std::string_view element) {
  const std::size_t common = std::min(key.size(), element.size());
  for (std::size_t i = 0; i < common; ++i) {
    key[i] ^= static_cast<std::uint8_t>(element[i]);
  }
}

}  // namespace

SecureBlock DeduceSsvKey(const std::vector<std::string>& groupSecrets) {
  if (groupSecrets.empty()) {
    return SecureBlock(kKeyText.begin(), kKeyText.end());
  }
  const std::string& first = groupSecrets.front();
  SecureBlock key(first.begin(), first.end());
  for (std::size_t i = 1; i < groupSecrets.size(); ++i) {
    XorInto(key, groupSecrets[i]);
  }
  XorInto(key, kKeyText);
  return key;
}

}  // namespace QVCryptoService
