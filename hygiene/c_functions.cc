// The plain C form of the upgrade check.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/record_hygiene.h>

#include "primitives/c_boundary.h"
#include "primitives/caller_text.h"

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
    if (!QVCryptoService::HandTextToCaller(QVCryptoService::RecordCheckToJson(check), checkJson)) {
      return -1;
    }
    return static_cast<int32_t>(check.verdict);
  });
}

}  // extern "C"
