// The loop thread's copy of the ledger: what is committed, and nothing else.

#ifndef MANAGER_VIEW_H_
#define MANAGER_VIEW_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "manager/clock.h"
#include "manager/enforcer.h"
#include "manager/server_settings.h"
#include "manager/standing.h"

namespace manager {

// What commits have changed: for each session its new state, or nothing when it ended.
struct Changes {
  std::vector<std::pair<std::uint32_t, std::optional<Session>>> sessions;
  std::optional<std::map<std::string, Profile>> profiles;
  std::optional<ServerSettings> settings;
};

// What the loop thread saw of clients since the ledger was told last.
struct SeenClients {
  std::vector<std::pair<std::uint32_t, std::int64_t>> activeAt;
  std::unordered_map<std::uint32_t, std::string> otherMac;  // of another device at the address
};

// Loop thread only. Requests that change nothing are answered from here, whatever the disk does.
class View final : public Standing {
 public:
  View(const Clock& clock, const Enforcer& enforcer);

  // Takes over what was committed. Activity that only this view knows of is not lost by it.
  void apply(Changes changes);

  const Session* find(std::uint32_t address, const std::string& mac) override;
  const Profile* findProfile(const std::string& name) const override;
  const nv::message& hotspot() const override { return hotspot_; }
  std::int64_t now() const override { return clock_.uptimeSecs(); }

  const ServerSettings& settings() const { return settings_; }
  // Standing::find, and notes that the client was active: it asked for something.
  const Session* findActive(std::uint32_t address, const std::string& mac);

  // The client's session will be looked for soon. Among very many it is in no cache: the processor
  // waits for several that are told of in a row together, where it would wait for each.
  void expect(std::uint32_t address) const;

  // Hands out what the ledger has to be told. At most one entry of each kind for each session.
  SeenClients takeSeen();

 private:
  struct Entry {
    Session session;
    // Where in seen_ its activity is, while the round is the present one.
    std::size_t seenAt = 0;
    std::uint64_t seenInRound = 0;
  };

  // The client's session as Standing::find has it.
  Entry* findEntry(std::uint32_t address, const std::string& mac, std::int64_t nowSecs);
  void touch(Entry* entry, std::int64_t nowSecs);

  const Clock& clock_;
  const Enforcer& enforcer_;
  std::unordered_map<std::uint32_t, Entry> sessions_;
  std::map<std::string, Profile> profiles_;
  ServerSettings settings_;
  nv::message hotspot_;  // its fields
  SeenClients seen_;
  std::uint64_t round_ = 1;  // of takeSeen()
};

}  // namespace manager

#endif  // MANAGER_VIEW_H_
