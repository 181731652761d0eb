#include "vars/env_writer.h"

#include <algorithm>
#include <tuple>

static_assert(std::is_sorted(std::begin(kReplyVars), std::end(kReplyVars)));

void EnvWriter::write() {
  auto next = env_.begin();
  for (std::size_t i = 0; i < std::size(kReplyVars); ++i) {
    if (!isSet_[i]) continue;
    const auto variable =
        env_.emplace_hint(next, std::piecewise_construct, std::forward_as_tuple(kReplyVars[i]),
                          std::forward_as_tuple());
    variable->second = std::move(values_[i]);
    if (next != env_.end()) next = std::next(variable);  // the end is behind all that follow
  }
}
