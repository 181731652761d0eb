#include "webserver/logging.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

namespace web {

void startLogging(const std::string& level) {
  auto sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
  auto logger = std::make_shared<spdlog::logger>("hotspot-web", sink);
  logger->set_pattern("%Y-%m-%d %H:%M:%S.%e hotspot-web[%P] %l: %v");
  logger->set_level(spdlog::level::from_str(level));
  logger->flush_on(spdlog::level::trace);
  spdlog::set_default_logger(logger);
}

void logDebug(const std::string& text) { spdlog::debug("{}", text); }
void logInfo(const std::string& text) { spdlog::info("{}", text); }
void logWarning(const std::string& text) { spdlog::warn("{}", text); }
void logError(const std::string& text) { spdlog::error("{}", text); }

void logFailure(const char* what, const char* why) noexcept {
  try {
    spdlog::error("{}: {}", what, why);
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace web
