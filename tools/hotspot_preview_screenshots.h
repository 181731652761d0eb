// The gallery as PNG files, taken by a headless Chromium.

#ifndef TOOLS_HOTSPOT_PREVIEW_SCREENSHOTS_H_
#define TOOLS_HOTSPOT_PREVIEW_SCREENSHOTS_H_

#include <filesystem>
#include <string>
#include <vector>

#include "tools/hotspot_preview_play.h"

namespace preview {

constexpr int kLeastWidth = 200;
constexpr int kMostWidth = 4000;

struct ScreenshotOptions {
  std::string directory;  // made when it is not there
  std::vector<int> widths = {375, 1280};
  std::vector<std::string> states;  // all when empty
  bool isDark = false;
  std::string browser;  // looked for in PATH when empty
};

// Writes STATE-WIDTH.png (STATE-WIDTH-dark.png) for each state and width, the whole page each, and
// tells the progress on standard error. Throws std::runtime_error for what ends it: no browser or
// one that fails, no such state, a directory that cannot be written, a signal to stop. The browser
// and its profile are gone afterwards.
void takeScreenshots(const ScreenshotOptions& options, const std::filesystem::path& pages,
                     Player& player);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_SCREENSHOTS_H_
