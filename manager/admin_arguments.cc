#include "manager/admin_arguments.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace manager {

using Json = nlohmann::json;

namespace {

constexpr std::size_t kMaxNameBytes = 128;

}  // namespace

void onlyKeys(const Json& arguments, std::initializer_list<const char*> keys) {
  for (const auto& [key, value] : arguments.items()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      throw AdminRefusal("there is no argument \"" + key + "\"");
    }
  }
}

std::string textArgument(const Json& arguments, const char* key) {
  if (!arguments.contains(key)) throw AdminRefusal(std::string(key) + " is missing");
  return textArgument(arguments, key, "");
}

std::string textArgument(const Json& arguments, const char* key, const char* otherwise) {
  if (!arguments.contains(key)) return otherwise;
  if (!arguments[key].is_string()) throw AdminRefusal(std::string(key) + " must be a text");
  return arguments[key].get<std::string>();
}

std::uint64_t numberArgument(const Json& arguments, const char* key) {
  const Json& value = arguments[key];
  if (!value.is_number_unsigned() ||
      value.get<std::uint64_t>() >
          static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    throw AdminRefusal(std::string(key) + " must be a number from 0 to 9223372036854775807");
  }
  return value.get<std::uint64_t>();
}

bool flagArgument(const Json& arguments, const char* key) {
  if (!arguments.contains(key)) return false;
  if (!arguments[key].is_boolean()) throw AdminRefusal(std::string(key) + " must be true or false");
  return arguments[key].get<bool>();
}

void checkName(const std::string& name, const char* what) {
  if (name.empty() || name.size() > kMaxNameBytes) {
    throw AdminRefusal(std::string(what) + " must have 1 to " + std::to_string(kMaxNameBytes) +
                       " bytes");
  }
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      throw AdminRefusal(std::string(what) + " must not hold control characters");
    }
  }
  if (name.front() == ' ' || name.back() == ' ') {
    throw AdminRefusal(std::string(what) + " must not begin or end with a blank");
  }
}

Json rowsReply(Json rows, const Json& next) {
  Json reply = {{"rows", std::move(rows)}};
  if (!next.is_null()) reply["next"] = next;
  return reply;
}

}  // namespace manager
