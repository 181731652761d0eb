#include "tools/hotspot_preview_browser.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "tools/hotspot_preview_process.h"
#include "tools/hotspot_preview_text.h"

namespace preview {
namespace {

namespace fs = std::filesystem;

// A machine that is busy with other things starts a browser slowly.
constexpr std::chrono::seconds kPatience(120);
constexpr int kStopLookMs = 100;
constexpr std::size_t kMostMessageBytes = std::size_t{256} * 1024 * 1024;
// Below this width a window is a phone's.
constexpr int kDeskFrom = 600;
constexpr int kPhoneHeight = 667;
constexpr int kDeskHeight = 800;
constexpr double kMostHeight = 10000;

}  // namespace

std::string findBrowser(const std::string& given) {
  if (!given.empty()) {
    if (access(given.c_str(), X_OK) == 0 && fs::is_regular_file(given)) return given;
    throw BrowserError(given + " is no program that can be started");
  }
  const char* const path = std::getenv("PATH");
  for (const std::string_view name : {"chromium", "chromium-browser"}) {
    for (std::string_view rest = path == nullptr ? "" : path; !rest.empty();) {
      const std::string_view directory = rest.substr(0, rest.find(':'));
      rest.remove_prefix(std::min(directory.size() + 1, rest.size()));
      const fs::path program = fs::path(directory) / name;
      std::error_code error;
      const bool isProgram = fs::is_regular_file(program, error);
      if (isProgram && access(program.c_str(), X_OK) == 0) return program;
    }
  }
  throw BrowserError(
      "no chromium in PATH: install the package chromium, or name it with --browser");
}

Browser::Browser(const std::string& path, const std::atomic<bool>& stop)
    : stop_(stop), process_(path) {
  const std::string target = call("Target.createTarget", {{"url", "about:blank"}})["targetId"];
  session_ = call("Target.attachToTarget", {{"targetId", target}, {"flatten", true}})["sessionId"];
  call("Page.enable", Json::object());
  call("Page.setLifecycleEventsEnabled", {{"enabled", true}});
}

Browser::~Browser() {
  // So that it closes what it has open; the process is ended either way.
  try {
    session_.clear();
    send("Browser.close", Json::object());
  } catch (const BrowserError&) {
    return;
  }
}

std::string Browser::shoot(const std::string& address, int width, bool isDark) {
  const bool isPhone = width < kDeskFrom;
  const auto setSize = [&](int height) {
    call("Emulation.setDeviceMetricsOverride",
         {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", isPhone}});
  };
  const int usualHeight = isPhone ? kPhoneHeight : kDeskHeight;
  setSize(usualHeight);
  call("Emulation.setEmulatedMedia",
       {{"features", {{{"name", "prefers-color-scheme"}, {"value", isDark ? "dark" : "light"}}}}});
  const Json navigated = call("Page.navigate", {{"url", address}});
  if (navigated.contains("errorText")) {
    throw BrowserError("the browser cannot open it: " + navigated["errorText"].get<std::string>());
  }
  awaitLoad(navigated.value("loaderId", ""));
  const Json layout = call("Page.getLayoutMetrics", Json::object());
  const double content = layout["cssContentSize"]["height"].get<double>() *
                         layout["cssVisualViewport"]["scale"].get<double>();
  setSize(std::max(usualHeight, static_cast<int>(std::min(content, kMostHeight))));
  const Json shot = call("Page.captureScreenshot", {{"format", "png"}});
  const auto png = decodeBase64(shot["data"].get_ref<const std::string&>());
  if (!png) throw BrowserError("the browser's picture cannot be read");
  return *png;
}

void Browser::throwEnded() const {
  throw BrowserError(process_.path() + " has ended: " + process_.lastWords());
}

void Browser::awaitLoad(const std::string& loader) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (loaded_ != loader) note(read(deadline));
}

void Browser::note(const Json& message) {
  if (message.value("method", "") != "Page.lifecycleEvent") return;
  const Json& event = message["params"];
  // A page that leads on while it is being read is never complete, but there comes nothing more.
  if (event["name"] == "load" || event["name"] == "networkIdle") loaded_ = event["loaderId"];
}

int Browser::send(const std::string& method, const Json& parameters) {
  Json message = {{"id", ++lastId_}, {"method", method}, {"params", parameters}};
  if (!session_.empty()) message["sessionId"] = session_;
  const std::string text = message.dump() + '\0';
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = ::write(process_.input(), text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) throwEnded();
    done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
  }
  return lastId_;
}

Browser::Json Browser::call(const std::string& method, const Json& parameters) {
  const int id = send(method, parameters);
  const Clock::time_point deadline = Clock::now() + kPatience;
  for (;;) {
    Json message = read(deadline);
    note(message);
    if (message.value("id", 0) != id) continue;
    if (message.contains("error")) {
      throw BrowserError("the browser refuses " + method + ": " +
                         message["error"].value("message", ""));
    }
    return message["result"];
  }
}

Browser::Json Browser::read(Clock::time_point deadline) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = received_.find('\0', searched);
    if (end != std::string::npos) {
      Json message = Json::parse(received_.begin(), received_.begin() + static_cast<long>(end),
                                 nullptr, false);
      received_.erase(0, end + 1);
      if (!message.is_object()) throw BrowserError("the browser says what cannot be read");
      return message;
    }
    searched = received_.size();
    if (searched > kMostMessageBytes) throw BrowserError("the browser says too much");
    if (stop_) throw BrowserError("stopped");
    if (Clock::now() > deadline) throw BrowserError("the browser does not answer");
    pollfd waiting{process_.output(), POLLIN, 0};
    if (poll(&waiting, 1, kStopLookMs) <= 0) continue;
    char buffer[65536];
    const ssize_t got = ::read(process_.output(), buffer, sizeof buffer);
    if (got > 0) {
      received_.append(buffer, static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      throwEnded();
    }
  }
}

}  // namespace preview
