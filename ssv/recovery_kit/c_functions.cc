// The plain C form of the recovery kit functions.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/ssv_recovery.h>

#include "platform/task_memory.h"
#include "primitives/c_boundary.h"
#include "primitives/caller_text.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using QVCryptoService::SecureBlock;
using QVCryptoService::SsvKitOutcome;
using QVCryptoService::SsvKitStatus;

constexpr int kInternalError = static_cast<int>(SsvKitStatus::kInternalError);

std::vector<SecureBlock> Passphrases(const char* const* passphrases, std::size_t count) {
  std::vector<SecureBlock> copies;
  for (std::size_t i = 0; i < count; ++i) {
    const char* passphrase = passphrases[i] != nullptr ? passphrases[i] : "";
    copies.emplace_back(passphrase, passphrase + std::strlen(passphrase));
  }
  return copies;
}

int Report(const SsvKitOutcome& outcome, char* message, std::size_t messageSize) {
  if (message != nullptr && messageSize > 0) {
    const std::size_t length = std::min(outcome.message.size(), messageSize - 1);
    std::memcpy(message, outcome.message.data(), length);
    message[length] = '\0';
  }
  return static_cast<int>(outcome.status);
}

}  // namespace

extern "C" {

int QVSSVBackUp(size_t holders, size_t threshold, const char* const* passphrases, char** kits, char* message,
                size_t messageSize) {
  return QVCryptoService::RunForC(kInternalError, [&] {
    // The shape is checked before the caller's arrays are read, so that a wild count reads nothing.
    std::string problem = QVCryptoService::SsvKitShapeProblem(holders, threshold);
    if (problem.empty() && (passphrases == nullptr || kits == nullptr)) {
      problem = "no passphrases or no room for the kits";
    }
    if (!problem.empty()) {
      return Report(SsvKitOutcome{SsvKitStatus::kInvalidArguments, SsvKitOutcome::kNoKit, problem, {}}, message,
                    messageSize);
    }
    std::vector<std::string> texts;
    const SsvKitOutcome outcome = QVCryptoService::BackUpSsv(threshold, Passphrases(passphrases, holders), texts);
    std::vector<char*> copies(texts.size(), nullptr);
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (!QVCryptoService::HandTextToCaller(texts[i], &copies[i])) {
        for (char* made : copies) {
          QVCryptoService::platform::FreeCallerMemory(made);
        }
        return Report(SsvKitOutcome{SsvKitStatus::kInternalError, SsvKitOutcome::kNoKit, "out of memory", {}}, message,
                      messageSize);
      }
    }
    std::copy(copies.begin(), copies.end(), kits);
    return Report(outcome, message, messageSize);
  });
}

int QVSSVRestore(size_t count, const char* const* kits, const char* const* passphrases, int force, char* message,
                 size_t messageSize) {
  return QVCryptoService::RunForC(kInternalError, [&] {
    if (kits == nullptr || passphrases == nullptr || count > QVCryptoService::kSsvKitMaxHolders) {
      return Report(SsvKitOutcome{SsvKitStatus::kInvalidArguments,
                                  SsvKitOutcome::kNoKit,
                                  "no kits, no passphrases or more kits than a backup has holders",
                                  {}},
                    message, messageSize);
    }
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i) {
      texts.emplace_back(kits[i] != nullptr ? kits[i] : "");
    }
    return Report(QVCryptoService::RestoreSsv(texts, Passphrases(passphrases, count), force != 0), message,
                  messageSize);
  });
}

}  // extern "C"
