// Guests who come and go at a manager that is killed meanwhile: what was answered is there
// afterwards.

#ifndef TESTS_MANAGER_KILLED_LOAD_H_
#define TESTS_MANAGER_KILLED_LOAD_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>

#include "tests/manager/process.h"

// What one client of the hotspot has asked for and was answered. A request that was not answered
// before the kill may have been carried out or not; one that was refused was not.
struct Guest {
  bool in = false;          // a login was answered well, and no logout since
  bool outAsked = false;    // a logout was sent since
  bool inAsked = false;     // a login was sent since the last answered logout
  std::uint64_t bytes = 0;  // the last report that was answered, of this session
};

class KilledLoad {
 public:
  // The manager runs and outlives the object; its account "ann", password
  // "secret", may be used by many at once. Where the disk may be full
  // requests may be refused for it.
  KilledLoad(ManagerProcess& manager, bool mayBeFull);

  // Guests come and go, until the manager is killed at a random moment; it is started again, and
  // all that was answered is looked for.
  void round();

  std::size_t kept() const { return kept_; }        // sessions that were found again
  std::size_t refused() const { return refused_; }  // requests, for the disk

 private:
  static constexpr std::size_t kVisitors = 3;

  struct Visitor {
    std::map<std::uint32_t, Guest> guests;
    std::size_t refused = 0;
  };

  void visit(std::uint32_t first, unsigned seed, Visitor* visitor) const;
  bool isRefused(const nv::message& reply) const;
  void lookForAll();

  ManagerProcess& manager_;
  const bool mayBeFull_;
  std::mt19937 random_;
  Visitor visitors_[kVisitors];
  std::size_t kept_ = 0;
  std::size_t refused_ = 0;
  std::uint64_t usedBefore_ = 0;
};

#endif  // TESTS_MANAGER_KILLED_LOAD_H_
