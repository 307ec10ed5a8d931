// The SSV engine's reading side: loading the record from the machine store or a directory,
// recovering the group secrets from its shares and deducing the key from them.

#include <qvcryptoservice/ssv_crypto.h>

#include "platform/machine_trust.h"
#include "platform/system_directory.h"
#include "ssv/key_deduction.h"
#include "ssv/log_lines.h"
#include "ssv/record_layout.h"
#include "ssv/record_sources.h"
#include "ssv/share_slots.h"

#include <qvcryptoservice/logger.h>

#include <exception>
#include <stdexcept>

namespace QVCryptoService {

QVSSVCrypto::QVSSVCrypto() = default;

QVSSVCrypto::~QVSSVCrypto() = default;

EQVKeystoreCode QVSSVCrypto::loadSSV(const std::string& directory) {
  SecureBlock record;
  // Nothing from a machine root that others could have written counts as a record. Past that,
  // a staging file of ours holding exactly one record wins over the store, whatever it contains.
  if (!platform::MachinePathProblem().empty() ||
      (!ReadRecordFile(StagingFilePath(directory), record) && !ReadStoredRecord(record))) {
    throw std::runtime_error("ssv does not exist or is corrupted!");
  }
  componentId_.assign(record.begin(), record.begin() + kComponentIdSize);
  shareStore_.assign(record.begin() + kShareStoreOffset, record.end());
  return KS_SUCCESS;
}

EQVKeystoreCode QVSSVCrypto::initSSV() {
  try {
    return loadSSV(platform::SystemDirectory());
  } catch (const std::exception& error) {
    const char* message = error.what();
    ILogger::GetInstance()->LogStr(kSsvLogLevel, kSsvLogComponent, "QVCryptoService::QVSSVCrypto::initSSV",
                                   message != nullptr && message[0] != '\0' ? message : "Unknown exception");
    return KS_ERR_SSV_NOT_INITIALIZED;
  }
}

std::string QVSSVCrypto::getComponentId() {
  const std::lock_guard<std::mutex> guard(lock_);
  if (componentId_.empty() && initSSV() != KS_SUCCESS) {
    ILogger::GetInstance()->LogStr(kSsvLogLevel, kSsvLogComponent, "QVCryptoService::QVSSVCrypto::getComponentId",
                                   "The SSV is corrupted");
    return {};
  }
  return componentId_;
}

EQVKeystoreCode QVSSVCrypto::recoverSSV(std::vector<std::string>& groupSecrets) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (shareStore_.size() != kShareStoreSize) {
    const EQVKeystoreCode loaded = initSSV();
    if (loaded != KS_SUCCESS) {
      return loaded;
    }
    if (shareStore_.size() != kShareStoreSize) {
      return KS_ERR_SSV_NOT_INITIALIZED;
    }
  }
  const ShareSlots slots = ShareSlots::FromShareStore(shareStore_);
  SecureBlock message(sharescheme::kShareMessageSize);
  for (std::size_t group = 0; group < kSsvGroupCount; ++group) {
    const auto shares = slots.group(group);
    // A group with an empty slot (a repeated index in the record) cannot authenticate either.
    const int status =
        shares ? sharescheme::CombineShares(*shares, std::span<std::uint8_t, sharescheme::kShareMessageSize>(message))
               : -1;
    if (status != 0) {
      ILogger::GetInstance()->LogVar(kSsvLogLevel, kSsvLogComponent, "QVCryptoService::QVSSVCrypto::recoverSSV",
                                     "Failed to combine the SSV shares. ret=%d", status);
      return KS_ERR_INVALID_SSV_DATA;
    }
    groupSecrets.emplace_back(message.begin(), message.begin() + kGroupSecretSize);
  }
  return KS_SUCCESS;
}

SecureBlock QVSSVCrypto::deduceKey(const std::vector<std::string>& groupSecrets) { return DeduceSsvKey(groupSecrets); }

}  // namespace QVCryptoService
