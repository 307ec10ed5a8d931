#pragma once

// Where the keystore's master key comes from: the host (a file or an environment variable with
// 64 hexadecimal digits), or a random key stored in the database under this machine's SSV.

#include "keystore_db/keystore_config.h"

#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <string>

namespace QVCryptoService::keystore_db {

// LoadHostMasterKey reads the host's master key into `key`. False with `error` when the file or
// variable is missing, unreadable, or does not hold exactly 64 hexadecimal digits (a line end
// may follow).
bool LoadHostMasterKey(const KeystoreConfig& config, SecureBlock& key, std::string& error);

// DecodeHexKey decodes 64 hexadecimal digits (either case, optionally followed by a line end)
// into 32 bytes without branching on the digits. False for anything else.
bool DecodeHexKey(const SecureBlock& text, SecureBlock& key);

// SsvAvailable is true when this machine has an SSV that encrypts.
bool SsvAvailable();

// SealUnderSsv encrypts the master key under the SSV: KS_SUCCESS, or KS_ERR_SSV_NOT_INITIALIZED.
EQVKeystoreCode SealUnderSsv(const SecureBlock& masterKey, std::string& sealed);
// OpenUnderSsv reverses SealUnderSsv: KS_ERR_SSV_NOT_INITIALIZED without an SSV, KS_ERR_CORRUPTED
// when the text does not decrypt to a key (another machine's SSV, or a changed row).
EQVKeystoreCode OpenUnderSsv(const std::string& sealed, SecureBlock& masterKey);

}  // namespace QVCryptoService::keystore_db
