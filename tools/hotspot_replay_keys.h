// Reading an object by a table of its keys.

#ifndef TOOLS_HOTSPOT_REPLAY_KEYS_H_
#define TOOLS_HOTSPOT_REPLAY_KEYS_H_

#include <cstddef>
#include <string_view>

#include "tools/hotspot_replay_json.h"

namespace replay {

// What one key of an object fills in `Target`.
template <typename Target>
struct Key {
  std::string_view name;
  void (*read)(const Json& value, const Path& path, Target* target);
};

// Hands each member of `json` to its key's reader. Throws Invalid for a value that is no object and
// for a key that the table does not know.
template <typename Target, std::size_t kSize>
void readKeys(const Json& json, const Path& path, const Key<Target> (&keys)[kSize],
              Target* target) {
  readObject(json, path);
  for (auto member = json.begin(); member != json.end(); ++member) {
    const Path memberPath = path.member(member.key());
    const Key<Target>* found = nullptr;
    for (const Key<Target>& key : keys) {
      if (key.name == member.key()) found = &key;
    }
    if (found == nullptr) memberPath.fail("unknown key");
    found->read(member.value(), memberPath, target);
  }
}

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_KEYS_H_
