#include "manager/peer_check.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace manager {

std::optional<Peer> peerOf(int socket) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  Peer peer;
  peer.pid = credentials.pid;
  peer.uid = credentials.uid;
  peer.groups.resize(32);
  // The kernel says ERANGE, and how much it needs, when there are more groups.
  for (int attempt = 0; attempt < 2; ++attempt) {
    length = static_cast<socklen_t>(peer.groups.size() * sizeof(gid_t));
    if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, peer.groups.data(), &length) == 0) {
      peer.groups.resize(length / sizeof(gid_t));
      break;
    }
    peer.groups.resize(errno == ERANGE ? length / sizeof(gid_t) : 0);
  }
  peer.groups.push_back(credentials.gid);
  return peer;
}

bool mayTalk(const Peer& peer, uid_t ownUid, const std::optional<gid_t>& group) {
  if (peer.uid == 0 || peer.uid == ownUid) return true;
  return group && std::find(peer.groups.begin(), peer.groups.end(), *group) != peer.groups.end();
}

}  // namespace manager
