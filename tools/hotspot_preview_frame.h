// What a frame of the gallery shows: the state's own page, and where its links and forms lead.

#ifndef TOOLS_HOTSPOT_PREVIEW_FRAME_H_
#define TOOLS_HOTSPOT_PREVIEW_FRAME_H_

#include <string>
#include <string_view>
#include <vector>

#include "tools/hotspot_preview_play.h"
#include "tools/hotspot_preview_states.h"

namespace preview {

// Below this path of a frame's host lie the addresses to which a guest would leave the portal:
// "/_preview/leave/http://www.example.com/news".
constexpr std::string_view kLeavePath = "/_preview/leave/";

// The values with which a request within a state is answered. A log-in succeeds whatever was typed,
// a log-out too; the pages of a session are those of one; files come whatever failed; else it is
// the state's own manager who answers.
Values answeringValues(const std::vector<State>& states, const Values& own,
                       const PageRequest& request);

// Hosts of a page's addresses.
struct FrameHosts {
  std::string portal;               // that of the portal's links
  std::vector<std::string> others;  // of the sites to which the state leads
  std::string frame;                // the frame's own, with its port
};
FrameHosts hostsOf(const Variables& variables, const std::string& frame);

// The page with addresses of the portal leading to the frame, and those of the other hosts to
// kLeavePath. Only where an address begins an attribute or a script's string, as it is or in its
// "-esc" form, so that what a guest reads stays as it is.
std::string withFrameAddresses(const std::string& page, const FrameHosts& hosts);

// The page that says where the guest went.
std::string leavingPage(const std::string& address);

// Text as HTML has it, in quotes too.
std::string htmlEscape(std::string_view text);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_FRAME_H_
