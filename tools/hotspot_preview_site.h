// What the preview answers: the gallery, the data that it is made of, and the frames. No sockets
// here.

#ifndef TOOLS_HOTSPOT_PREVIEW_SITE_H_
#define TOOLS_HOTSPOT_PREVIEW_SITE_H_

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/hotspot_preview_play.h"
#include "tools/hotspot_preview_states.h"

namespace preview {

// One request to the preview. Header fields that are not there are empty.
struct Asked {
  std::string method = "GET";
  std::string target = "/";  // path and query, as they were sent
  std::string host;
  std::string fetchMode;  // Sec-Fetch-Mode
  std::string fetchUser;  // Sec-Fetch-User
  std::string body;
};

struct Reply {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool isEvents = false;  // the stream of changes: the connection stays
};

// Frames have hosts of their own, STATE.preview.localhost, all of them one site and not that of the
// gallery: what a page's scripts do stays in the frame. Browsers and curl know without asking that
// names below "localhost" are this machine.
constexpr std::string_view kFrameDomain = ".preview.localhost";

class Site {
 public:
  Site(Player& player, std::filesystem::path directory);

  // Any request, hostile ones too; never throws but for want of memory.
  Reply answer(const Asked& asked);

  // Something in the page directory has changed. `problem`: what keeps later changes from being
  // seen; empty when nothing does.
  void noteChange(const std::string& problem);
  std::uint64_t version() const { return version_; }

  // Where a browser finds the frame of a state with the values of a query changed: scheme, host and
  // path. `port` is the preview's.
  std::string frameAddress(const State& state, const std::string& edits, const std::string& port);

  const std::vector<State>& states() const { return states_; }

 private:
  Reply answerGallery(const Asked& asked);
  Reply answerFrame(const Asked& asked, std::string_view label, const std::string& host);
  Reply leave(const Asked& asked) const;
  std::string galleryJson() const;
  std::string stateJson(const std::string& name, const std::string& edits, const std::string& port);
  std::string findingsJson();
  std::string labelOf(const State& state, const std::string& edits);
  const std::string* editsOf(std::string_view hash) const;
  std::string shownFile(const Variables& variables) const;

  Player& player_;
  const std::filesystem::path directory_;
  std::vector<State> states_;
  std::uint64_t version_ = 1;
  std::string problem_;
  std::uint64_t lintedVersion_ = 0;
  std::string findings_;  // of that version
  // Values that a frame's host name stands for, by their hash: host names are too short to hold
  // them. The gallery's addresses hold them, so that nothing is lost with these, the oldest first.
  std::deque<std::pair<std::string, std::string>> edits_;
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_SITE_H_
