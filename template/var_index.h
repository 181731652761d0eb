// Finds page variables by their names, time and again.

#ifndef TEMPLATE_VAR_INDEX_H_
#define TEMPLATE_VAR_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "template/scan.h"

// A table over all of them, made at the first question: it costs as much as a dozen searches of the
// map and answers each question at once.
class VarIndex {
 public:
  // `env` outlives the object, and no variable comes or goes meanwhile.
  explicit VarIndex(const std::map<std::string, std::string>& env) : env_(env) {}

  // The value of a variable, null when there is none of that name.
  const std::string* find(std::string_view name) {
    if (!isBuilt_) return findFirst(name);
    for (std::size_t slot = slotOf(name); slots_[slot] != kFree; slot = (slot + 1) % kSlots) {
      const Variable& variable = *variables_[slots_[slot]];
      if (scan::same(variable.first, name)) return &variable.second;
    }
    return nullptr;
  }

 private:
  using Variable = std::map<std::string, std::string>::value_type;

  static constexpr std::size_t kSlots = 128;
  // There is always a free slot to end a search; beyond this the map is asked every time.
  static constexpr std::size_t kMostIndexed = 96;
  static constexpr std::uint8_t kFree = 0xFF;

  // Names share beginnings and ends: "bytes-in", "limit-bytes-in", "limit-bytes-out".
  static std::size_t slotOf(std::string_view name) {
    const std::size_t size = name.size();
    if (size == 0) return 0;
    const auto at = [&](std::size_t i) { return std::size_t{static_cast<unsigned char>(name[i])}; };
    return (size * 3 + at(0) * 4 + at(size / 2) * 4 + at(size - 1) * 7) % kSlots;
  }
  const std::string* findFirst(std::string_view name);
  void build();

  const std::map<std::string, std::string>& env_;
  bool isBuilt_ = false;
  std::uint8_t slots_[kSlots];
  const Variable* variables_[kMostIndexed];
};

#endif  // TEMPLATE_VAR_INDEX_H_
