#include "vars/env_writer.h"

#include <algorithm>
#include <utility>

static_assert(std::is_sorted(std::begin(kReplyVars), std::end(kReplyVars)));

namespace {

// All of the variables, without values. A copy of a map has its shape: no name is compared for it
// and no place is sought.
const std::map<std::string, std::string>& emptyVars() {
  static const std::map<std::string, std::string> vars = [] {
    std::map<std::string, std::string> result;
    for (const std::string_view name : kReplyVars) result.emplace_hint(result.end(), name, "");
    return result;
  }();
  return vars;
}

}  // namespace

void EnvWriter::write() {
  // A request has a variable or two of its own before the first reply comes.
  constexpr std::size_t kFew = 8;
  if (count_ == std::size(kReplyVars) && env_.size() <= kFew) {
    std::map<std::string, std::string> vars = emptyVars();
    std::string* value = values_;
    for (auto& [name, variable] : vars) variable = std::move(*value++);
    vars.merge(env_);
    env_ = std::move(vars);
    return;
  }
  for (std::size_t i = 0; i < std::size(kReplyVars); ++i) {
    if (isSet_[i]) env_[std::string(kReplyVars[i])] = std::move(values_[i]);
  }
}
