#include <qvcryptoservice/logger.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace QVCryptoService {

namespace {

// The sink used until a host installs its own.
class StandardErrorLogger final : public ILogger {
 public:
  void LogStr(ELogLevel level, const std::string& component, const std::string& function,
              const std::string& message) override {
    // One call per entry, so that lines of concurrent callers do not interleave.
    std::fprintf(stderr, "%s [%d] %s: %s\n", component.c_str(), static_cast<int>(level), function.c_str(),
                 message.c_str());
  }
};

std::mutex& SinkLock() {
  static std::mutex lock;
  return lock;
}

std::shared_ptr<ILogger> BuiltInSink() {
  static StandardErrorLogger logger;
  // Non-owning: the built-in sink lives as long as the library. Making a control block here
  // would also export the standard library's type information for it.
  return std::shared_ptr<ILogger>(std::shared_ptr<ILogger>(), &logger);
}

std::shared_ptr<ILogger>& InstalledSink() {
  static std::shared_ptr<ILogger> sink = BuiltInSink();
  return sink;
}

}  // namespace

ILogger::~ILogger() = default;

std::shared_ptr<ILogger> ILogger::GetInstance() {
  const std::lock_guard<std::mutex> guard(SinkLock());
  return InstalledSink();
}

std::shared_ptr<ILogger> ILogger::SetInstance(std::shared_ptr<ILogger> logger) {
  const std::lock_guard<std::mutex> guard(SinkLock());
  std::shared_ptr<ILogger> previous = std::move(InstalledSink());
  InstalledSink() = logger != nullptr ? std::move(logger) : BuiltInSink();
  return previous;
}

void ILogger::LogVar(ELogLevel level, const std::string& component, const std::string& function, const char* format,
                     ...) {
  if (format == nullptr) {
    LogStr(level, component, function, std::string());
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list measuring;
  va_copy(measuring, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measuring);
  va_end(measuring);
  std::string message;
  if (length < 0) {
    message = format;
  } else {
    message.resize(static_cast<std::size_t>(length) + 1);
    (void)std::vsnprintf(message.data(), message.size(), format, arguments);
    message.resize(static_cast<std::size_t>(length));
  }
  va_end(arguments);
  LogStr(level, component, function, message);
}

}  // namespace QVCryptoService
