#include "vars/env_writer.h"

#include <tuple>
#include <utility>

void EnvWriter::set(std::string_view name, std::string value) {
  next_ = env_.emplace_hint(next_, std::piecewise_construct, std::forward_as_tuple(name),
                            std::forward_as_tuple());
  next_->second = std::move(value);
  ++next_;
}
