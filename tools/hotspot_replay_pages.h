// The temporary page directory of a scenario.

#ifndef TOOLS_HOTSPOT_REPLAY_PAGES_H_
#define TOOLS_HOTSPOT_REPLAY_PAGES_H_

#include <string>

#include "tools/hotspot_replay_scenario.h"

namespace replay {

// The directory that one run uses, a fresh one under $TMPDIR (or /tmp) made when it is first needed
// and removed with the object. Scenarios use it one after the other, each finds it empty: making
// and removing a directory for each would take longer than all the rest of a scenario.
class TempDir {
 public:
  TempDir() = default;
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  // Throws std::runtime_error when there can be no directory.
  const std::string& path();
  // Removes all that is in it.
  void clear();

 private:
  void remove();

  std::string path_;  // empty while there is none
};

// The pages of one scenario, there as long as the object is. A scenario that has no pages and names
// no page directory gets none.
class PageDir {
 public:
  // Writes the scenario's pages. Throws Invalid for a page that cannot be written (two names that
  // exclude each other, a name too long), and what TempDir::path throws.
  PageDir(TempDir& temp, const Scenario& scenario);
  PageDir(const PageDir&) = delete;
  PageDir& operator=(const PageDir&) = delete;
  ~PageDir();

  // Puts the directory in the place of "$PAGES".
  std::string expand(const std::string& text) const;
  // The other way round, for a result.
  std::string conceal(const std::string& text) const;

 private:
  void writePages(const Scenario& scenario);

  TempDir& temp_;
  std::string path_;  // empty when there is none
};

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_PAGES_H_
