#include "manager/due_list.h"

namespace manager {

void DueList::put(std::uint32_t address, std::int64_t atSecs) {
  const auto known = at_.find(address);
  if (known != at_.end() && known->second <= atSecs) return;
  // The place first: where memory is missing for the rest it is passed over, while an address
  // without a place would never be due.
  places_[atSecs].push_back(address);
  at_[address] = atSecs;
}

std::vector<std::uint32_t> DueList::take(std::int64_t nowSecs) {
  std::vector<std::uint32_t> due;
  while (!places_.empty() && places_.begin()->first <= nowSecs) {
    for (const std::uint32_t address : places_.begin()->second) {
      const auto entry = at_.find(address);
      if (entry == at_.end() || entry->second != places_.begin()->first) continue;
      at_.erase(entry);
      due.push_back(address);
    }
    places_.erase(places_.begin());
  }
  return due;
}

}  // namespace manager
