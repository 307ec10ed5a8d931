#pragma once

#include <qvcryptoservice/logger.h>

namespace QVCryptoService {

// Every diagnostic of the SSV goes out under this component and level.
inline constexpr const char* kSsvLogComponent = "PXA-SSV";
inline constexpr ELogLevel kSsvLogLevel = ELogLevel::Info;

}  // namespace QVCryptoService
