#pragma once

#include <optional>
#include <string>

namespace QVCryptoService {

// DecodeBase64Strict decodes single-line standard base64 with "=" padding. It returns nothing
// for any other text (a stray character, a missing pad, a line break), where base64_decode
// would quietly return a prefix or nothing; record readers use it to refuse damaged fields.
std::optional<std::string> DecodeBase64Strict(const std::string& text);

}  // namespace QVCryptoService
