// Finds page variables by their names, time and again.

#ifndef TEMPLATE_VAR_INDEX_H_
#define TEMPLATE_VAR_INDEX_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

// A few names are looked up in the map itself. Whoever asks for more gets a table over all of them,
// which costs as much as a dozen searches of the map and answers each further question at once.
class VarIndex {
 public:
  // `env` outlives the object, and no variable comes or goes meanwhile.
  explicit VarIndex(const std::map<std::string, std::string>& env) : env_(env) {}

  // The value of a variable, null when there is none of that name.
  const std::string* find(std::string_view name);

 private:
  using Variable = std::map<std::string, std::string>::value_type;

  static constexpr std::size_t kSlots = 128;
  // There is always a free slot to end a search; beyond this the map is asked every time.
  static constexpr std::size_t kMostIndexed = 96;
  static constexpr unsigned kAskedBefore = 4;

  static std::size_t slotOf(std::string_view name);
  void build();

  const std::map<std::string, std::string>& env_;
  unsigned asked_ = 0;
  const Variable* slots_[kSlots];  // of no value until all have been asked for
};

#endif  // TEMPLATE_VAR_INDEX_H_
