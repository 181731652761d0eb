// The fields of a reply to the portal's servlet.

#ifndef MANAGER_REPLIES_H_
#define MANAGER_REPLIES_H_

#include <cstdint>
#include <string>

#include "host/message.h"
#include "manager/failures.h"
#include "manager/records.h"
#include "manager/server_settings.h"

namespace manager {

// What every reply carries: the hotspot's identity and options, and the client's MAC address if
// known.
void addHotspot(nv::message* reply, const ServerSettings& settings, const std::string& mac);

// A session: who, since when, how long, limits, counters, client state. `loggedIn` is false for the
// session that a logout has just ended. `profile` may be null.
void addSession(nv::message* reply, const Session& session, const Profile* profile,
                std::int64_t nowSecs, bool loggedIn);

// Makes the reply an error reply with that failure's code and texts.
void addFailure(nv::message* reply, const Failure& failure);

// An error reply to a message that is no command of the servlet's.
nv::message protocolError(const std::string& text);

// The name under which a session's user is shown: the account without its domain.
std::string shownName(const Session& session);

}  // namespace manager

#endif  // MANAGER_REPLIES_H_
