// A map of bounded size: what was noted longest ago is forgotten first.

#ifndef MANAGER_RECENT_H_
#define MANAGER_RECENT_H_

#include <cstddef>
#include <list>
#include <unordered_map>
#include <utility>

namespace manager {

// One thread at a time.
template <typename Key, typename Value>
class Recent {
 public:
  // At most `most` entries, and never less than one.
  explicit Recent(std::size_t most) : most_(most) {}

  // The entry of the key, fresh if there was none, as the one noted last. It holds until the next
  // call of note() or forget().
  Value& note(const Key& key) {
    const auto found = index_.find(key);
    if (found != index_.end()) {
      entries_.splice(entries_.end(), entries_, found->second);
      return found->second->second;
    }
    if (entries_.size() >= most_ && !entries_.empty()) forget(Key(entries_.front().first));
    // Both or, where memory is missing, none: what the index does not know could not be forgotten.
    Entries fresh;
    fresh.emplace_back(key, Value());
    index_.emplace(key, fresh.begin());
    entries_.splice(entries_.end(), fresh);
    return entries_.back().second;
  }

  // Null when nothing is known of the key. Does not count as noting it.
  const Value* find(const Key& key) const {
    const auto found = index_.find(key);
    return found == index_.end() ? nullptr : &found->second->second;
  }

  void forget(const Key& key) {
    const auto found = index_.find(key);
    if (found == index_.end()) return;
    entries_.erase(found->second);
    index_.erase(found);
  }

  std::size_t size() const { return entries_.size(); }

 private:
  using Entries = std::list<std::pair<Key, Value>>;

  const std::size_t most_;
  Entries entries_;  // noted longest ago first
  std::unordered_map<Key, typename Entries::iterator> index_;
};

}  // namespace manager

#endif  // MANAGER_RECENT_H_
