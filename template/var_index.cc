#include "template/var_index.h"

#include <algorithm>

const std::string* VarIndex::find(std::string_view name) {
  if (asked_ < kAskedBefore || env_.size() > kMostIndexed) {
    ++asked_;
    const auto found = env_.find(std::string(name));
    return found == env_.end() ? nullptr : &found->second;
  }
  if (asked_ == kAskedBefore) {
    build();
    ++asked_;
  }
  for (std::size_t slot = slotOf(name);; slot = (slot + 1) % kSlots) {
    const Variable* const variable = slots_[slot];
    if (variable == nullptr) return nullptr;
    if (variable->first == name) return &variable->second;
  }
}

// Names share beginnings and ends: "bytes-in", "limit-bytes-in", "limit-bytes-out".
std::size_t VarIndex::slotOf(std::string_view name) {
  const std::size_t size = name.size();
  if (size == 0) return 0;
  const auto at = [&](std::size_t i) { return std::size_t{static_cast<unsigned char>(name[i])}; };
  return (size * 3 + at(0) * 4 + at(size / 2) * 4 + at(size - 1) * 7) % kSlots;
}

void VarIndex::build() {
  std::fill(std::begin(slots_), std::end(slots_), nullptr);
  for (const Variable& variable : env_) {
    std::size_t slot = slotOf(variable.first);
    while (slots_[slot] != nullptr) slot = (slot + 1) % kSlots;
    slots_[slot] = &variable;
  }
}
