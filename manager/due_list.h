// Which sessions are to be looked at next, and when.

#ifndef MANAGER_DUE_LIST_H_
#define MANAGER_DUE_LIST_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

namespace manager {

// One moment for each address. Putting and taking cost the same however many others there are. One
// thread at a time.
class DueList {
 public:
  // Puts the address down for that second; where it is down for an earlier one already, that stays.
  void put(std::uint32_t address, std::int64_t atSecs);
  void drop(std::uint32_t address) { at_.erase(address); }

  // Hands out those that are due, each once.
  std::vector<std::uint32_t> take(std::int64_t nowSecs);

  std::size_t size() const { return at_.size(); }

 private:
  std::unordered_map<std::uint32_t, std::int64_t> at_;
  // By second. An address that was put down anew or dropped is still in its old place, and is
  // passed over there.
  std::map<std::int64_t, std::vector<std::uint32_t>> places_;
};

}  // namespace manager

#endif  // MANAGER_DUE_LIST_H_
