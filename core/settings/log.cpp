#include "core/settings/log.h"

#include <atomic>
#include <cstdio>
#include <memory>

#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "core/settings/config_store.h"
#include "core/settings/environment.h"
#include "core/settings/redaction.h"

namespace lumivale {
namespace {

constexpr std::size_t maximumLogBytes = 1024 * 1024;
constexpr std::size_t keptLogFiles = 3;

std::atomic<bool> echoing{false};
std::atomic<bool> stopped{false};

// Redacts each message before the file sees it, so no caller can forget to.
class RedactingSink : public spdlog::sinks::sink {
 public:
  explicit RedactingSink(std::shared_ptr<spdlog::sinks::sink> inner) : inner_(std::move(inner)) {}

  void log(const spdlog::details::log_msg& message) override {
    auto redacted = redactSecrets(std::string_view(message.payload.data(), message.payload.size()));
    auto copy = message;
    copy.payload = redacted;
    inner_->log(copy);
  }
  void flush() override { inner_->flush(); }
  void set_pattern(const std::string& pattern) override { inner_->set_pattern(pattern); }
  void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override {
    inner_->set_formatter(std::move(formatter));
  }

 private:
  std::shared_ptr<spdlog::sinks::sink> inner_;
};

std::shared_ptr<spdlog::logger> openLog() {
  try {
    auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        (logDirectory() / "lumivale.log").string(), maximumLogBytes, keptLogFiles);
    auto log = std::make_shared<spdlog::logger>("lumivale", std::make_shared<RedactingSink>(file));
    log->set_pattern("%Y-%m-%d %H:%M:%S.%e [%P] %l: %v");
    log->set_level(spdlog::level::info);
    // A command writes a few lines at most; each is kept even if the process dies next.
    log->flush_on(spdlog::level::info);
    return log;
  } catch (const std::exception&) {
    return std::make_shared<spdlog::logger>("lumivale",
                                            std::make_shared<spdlog::sinks::null_sink_mt>());
  }
}

}  // namespace

std::filesystem::path logDirectory() {
  if (auto chosen = environmentFolder(logDirectoryEnvironmentKey)) return *chosen;
  return ConfigStore::directory() / "logs";
}

void logLine(LogLevel level, std::string_view message) {
  if (stopped) return;
  static const std::shared_ptr<spdlog::logger> log = openLog();
  log->log(level == LogLevel::warning ? spdlog::level::warn : spdlog::level::info, message);
  if (echoing)
    fmt::print(stderr, "{}: {}\n", level == LogLevel::warning ? "warning" : "info",
               redactSecrets(message));
}

void stopLogging() {
  stopped = true;
}

void echoLogToStandardError(bool echo) {
  echoing = echo;
}

}  // namespace lumivale
