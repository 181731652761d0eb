// Who may talk to a socket, by the credentials that the kernel gives (unix(7), SO_PEERCRED).

#ifndef MANAGER_PEER_CHECK_H_
#define MANAGER_PEER_CHECK_H_

#include <sys/types.h>

#include <optional>
#include <vector>

namespace manager {

struct Peer {
  pid_t pid = 0;
  uid_t uid = 0;
  std::vector<gid_t> groups;  // the primary group and the others
};

// The process at the other end of a connected Unix socket; nothing when the kernel does not tell.
std::optional<Peer> peerOf(int socket);

// True for root, for a process of the manager's own user, and for members of `group` where there is
// one.
bool mayTalk(const Peer& peer, uid_t ownUid, const std::optional<gid_t>& group);

}  // namespace manager

#endif  // MANAGER_PEER_CHECK_H_
