#pragma once

// The machine store's read, checked the way every store test wants it: the status it gives and,
// when it fails, that it left nothing in the caller's buffer.

#include "platform/machine_store.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

inline const std::string kSsvKey = "SOFTWARE\\Classes\\SSV";
inline const std::string kSsvValue = "SSV_Data";

inline std::vector<std::uint8_t> ReadStoreValue(const std::string& key, const std::string& value, std::size_t maxSize,
                                                QVCryptoService::platform::StoreStatus expected) {
  using QVCryptoService::platform::StoreStatus;
  QVCryptoService::SecureBlock content(3, 0xAA);
  EXPECT_EQ(QVCryptoService::platform::ReadMachineValue(key, value, maxSize,
                                                        QVCryptoService::platform::RegistryView::kNative64, content),
            expected)
      << key << " " << value;
  if (expected != StoreStatus::kOk) {
    EXPECT_TRUE(content.empty()) << "a failed read left bytes behind";
  }
  return std::vector<std::uint8_t>(content.begin(), content.end());
}

}  // namespace testsupport
