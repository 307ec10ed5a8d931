// The plain C form of the upgrade check.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/record_hygiene.h>

#include "platform/task_memory.h"
#include "primitives/c_boundary.h"

#include <cstring>
#include <string>

extern "C" {

int32_t QVCheckRecord(const char* text, const char* policyJson, char** checkJson) {
  if (text == nullptr || checkJson == nullptr) {
    return -1;
  }
  return QVCryptoService::RunForC<int32_t>(-1, [&]() -> int32_t {
    QVCryptoService::RecordPolicy policy;
    if (policyJson != nullptr && !QVCryptoService::RecordPolicyFromJson(policyJson, policy)) {
      return -1;
    }
    const QVCryptoService::RecordCheck check = QVCryptoService::CheckRecord(text, policy);
    const std::string json = QVCryptoService::RecordCheckToJson(check);
    auto* copy = static_cast<char*>(QVCryptoService::platform::AllocateCallerMemory(json.size() + 1));
    if (copy == nullptr) {
      return -1;
    }
    std::memcpy(copy, json.c_str(), json.size() + 1);
    *checkJson = copy;
    return static_cast<int32_t>(check.verdict);
  });
}

}  // extern "C"
