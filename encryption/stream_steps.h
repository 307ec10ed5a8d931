#pragma once

// The streaming encryption and decryption once the key is known, shared by the keystore and the
// password forms.

#include <qvcryptoservice/byte_streams.h>
#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <functional>
#include <string>

namespace QVCryptoService {

// EncryptStreamUnder encrypts what `plain` gives under `key` and meta.iv with meta.cipherName, and
// writes the serialized text of `meta` with that cipher text to `text`. Plain text the one-call
// form could not take (past OpenSSL's int counts) ends it with PXA_ERR_INVALID_ARGUMENTS.
PxaResult EncryptStreamUnder(const SecureBlock& key, const CipherMeta_t& meta, ByteSource& plain, ByteSink& text);

// DecryptStreamWith reads a serialized text from `text`. A record in the compact form is
// decrypted piece by piece into `plain` under the key `recordKey` gives for it (or its refusal);
// every other text goes whole to `oneCall`, whose plain text is then written to `plain`.
using RecordKey = std::function<PxaResult(const CipherMeta_t& meta, SecureBlock& key)>;
using OneCallDecryption = std::function<PxaResult(const std::string& text, SecureBlock& plain)>;
PxaResult DecryptStreamWith(ByteSource& text, ByteSink& plain, const RecordKey& recordKey,
                            const OneCallDecryption& oneCall);

}  // namespace QVCryptoService
