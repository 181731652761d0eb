#include "template/var_index.h"

#include <algorithm>

const std::string* VarIndex::findFirst(std::string_view name) {
  if (asked_ < kAskedBefore || env_.size() > kMostIndexed) {
    ++asked_;
    const auto found = env_.find(std::string(name));
    return found == env_.end() ? nullptr : &found->second;
  }
  build();
  return find(name);
}

void VarIndex::build() {
  std::fill(std::begin(slots_), std::end(slots_), nullptr);
  for (const Variable& variable : env_) {
    std::size_t slot = slotOf(variable.first);
    while (slots_[slot] != nullptr) slot = (slot + 1) % kSlots;
    slots_[slot] = &variable;
  }
  isBuilt_ = true;
}
