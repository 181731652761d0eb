#include "webserver/access_log.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <stdexcept>

#include "host/address.h"

namespace web {
namespace {

constexpr std::size_t kMaxTargetBytes = 1024;

void appendEscaped(std::string_view text, std::string* line) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7f && c != '"' && c != '\\') {
      line->push_back(c);
    } else {
      line->append({'\\', 'x', kHex[byte >> 4], kHex[byte & 15]});
    }
  }
}

}  // namespace

AccessLog::AccessLog(const std::string& path) {
  if (path.empty()) return;
  try {
    spdlog::sink_ptr sink;
    if (path == "-") {
      sink = std::make_shared<spdlog::sinks::stdout_sink_mt>();
    } else {
      sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path);
    }
    logger_ = std::make_shared<spdlog::logger>("access", sink);
  } catch (const spdlog::spdlog_ex& error) {
    throw std::runtime_error(error.what());
  }
  logger_->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %v");
  logger_->flush_on(spdlog::level::info);
}

AccessLog::~AccessLog() = default;

void AccessLog::write(const Entry& entry) {
  if (logger_ == nullptr) return;
  try {
    logger_->info("{}", format(entry));
  } catch (const std::exception&) {
    // Out of memory: a line is lost, the request is not.
    return;
  }
}

std::string AccessLog::format(const Entry& entry) {
  std::string line = IPAddr{entry.clientAddr}.str();
  line += entry.tls ? " https \"" : " http \"";
  if (entry.method.empty()) {
    line += "-";
  } else {
    appendEscaped(entry.method, &line);
    line += ' ';
    const std::string_view target = entry.target.substr(0, entry.target.find('?'));
    appendEscaped(target.substr(0, kMaxTargetBytes), &line);
    line += entry.http11 ? " HTTP/1.1" : " HTTP/1.0";
  }
  line += "\" ";
  line += entry.status == 0 ? "-" : std::to_string(entry.status);
  line += ' ' + std::to_string(entry.bodyBytes) + ' ' + std::to_string(entry.took.count()) + "us";
  return line;
}

}  // namespace web
