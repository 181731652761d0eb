// The temporary page directory of one scenario.

#ifndef TOOLS_HOTSPOT_REPLAY_PAGES_H_
#define TOOLS_HOTSPOT_REPLAY_PAGES_H_

#include <string>

#include "tools/hotspot_replay_scenario.h"

namespace replay {

// A fresh directory under $TMPDIR (or /tmp), removed with all that is in it when the object goes. A
// scenario that has no pages and names no page directory gets none: that saves most of its time.
class PageDir {
 public:
  // Writes the scenario's pages. Throws Invalid for a page that cannot be written (two names that
  // exclude each other, a name too long) and std::runtime_error when there can be no directory at
  // all.
  explicit PageDir(const Scenario& scenario);
  PageDir(const PageDir&) = delete;
  PageDir& operator=(const PageDir&) = delete;
  ~PageDir();

  // Puts the directory in the place of "$PAGES".
  std::string expand(const std::string& text) const;
  // The other way round, for a result.
  std::string conceal(const std::string& text) const;

 private:
  void writePages(const Scenario& scenario);
  void remove();

  std::string path_;  // empty when there is none
};

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_PAGES_H_
