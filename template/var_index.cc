#include "template/var_index.h"

#include <algorithm>

const std::string* VarIndex::findFirst(std::string_view name) {
  if (env_.size() > kMostIndexed) {
    const auto found = env_.find(std::string(name));
    return found == env_.end() ? nullptr : &found->second;
  }
  build();
  return find(name);
}

void VarIndex::build() {
  std::memset(slots_, kFree, sizeof slots_);
  std::uint8_t count = 0;
  for (const Variable& variable : env_) {
    std::size_t slot = slotOf(variable.first);
    while (slots_[slot] != kFree) slot = (slot + 1) % kSlots;
    variables_[count] = &variable;
    slots_[slot] = count++;
  }
  isBuilt_ = true;
}
