// The fields of a reply to the portal's servlet.

#ifndef MANAGER_REPLIES_H_
#define MANAGER_REPLIES_H_

#include <cstdint>
#include <string>

#include "host/message.h"
#include "manager/failures.h"
#include "manager/portal_request.h"
#include "manager/records.h"
#include "manager/server_settings.h"
#include "manager/standing.h"

namespace manager {

// What every reply carries: the hotspot's identity and options.
nv::message hotspotFields(const ServerSettings& settings);

// A session: who, since when, how long, limits, counters, client state. `loggedIn` is false for the
// session that a logout has just ended. `profile` may be null.
void addSession(nv::message* reply, const Session& session, const Profile* profile,
                std::int64_t nowSecs, bool loggedIn);

// The client with that session: what every command of a logged-in client is answered.
nv::message statusReply(const Standing& standing, const Session& session, const Client& client,
                        bool loggedIn);

// The client without a session.
nv::message nobodyReply(const Standing& standing, const Client& client);

// A command that failed: the client as it stands, and why.
nv::message refusedReply(Standing& standing, const Client& client, const Failure& failure);

// What the login page shows, but for the challenge; the second form after a login that failed.
nv::message loginPageReply(const Standing& standing, const Login& login);
nv::message loginRefusedReply(const Standing& standing, const Login& login, const Failure& failure);

// Makes the reply an error reply with that failure's code and texts.
void addFailure(nv::message* reply, const Failure& failure);

// An error reply to a message that is no command of the servlet's.
nv::message protocolError(const std::string& text);

// The name under which a session's user is shown: the account without its domain.
std::string shownName(const Session& session);

}  // namespace manager

#endif  // MANAGER_REPLIES_H_
