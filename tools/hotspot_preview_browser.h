// A headless Chromium of one's own, driven by its DevTools protocol over two pipes.

#ifndef TOOLS_HOTSPOT_PREVIEW_BROWSER_H_
#define TOOLS_HOTSPOT_PREVIEW_BROWSER_H_

#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/hotspot_preview_process.h"

namespace preview {

// The path of the browser: `given`, or what PATH has of chromium and chromium-browser. Throws
// BrowserError when there is none, with what to do.
std::string findBrowser(const std::string& given);

// One browser with one window. Its processes and its profile are gone when the object is.
class Browser {
 public:
  // Starts it. Throws BrowserError. Whatever waits ends with BrowserError when `*stop` becomes
  // true.
  Browser(const std::string& path, const std::atomic<bool>& stop);
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;
  ~Browser();

  // A PNG of the whole page at `address`, as a window of that width shows it.
  std::string shoot(const std::string& address, int width, bool isDark);

 private:
  using Json = nlohmann::json;
  using Clock = std::chrono::steady_clock;

  int send(const std::string& method, const Json& parameters);  // gives the call's number
  Json call(const std::string& method, const Json& parameters);
  Json read(Clock::time_point deadline);
  void note(const Json& message);
  void awaitLoad(const std::string& loader);
  [[noreturn]] void throwEnded() const;

  const std::atomic<bool>& stop_;
  BrowserProcess process_;
  std::string received_;
  std::string session_;
  int lastId_ = 0;
  std::string loaded_;  // the loader of the last page that was complete
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_BROWSER_H_
