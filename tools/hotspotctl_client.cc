#include "tools/hotspotctl_client.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/message.h"
#include "manager/admin_protocol.h"

namespace hotspotctl {

namespace admin = manager::admin;

namespace {

constexpr time_t kTimeoutSecs = 10;

}  // namespace

Client::Client(const std::string& socketPath) : socketPath_(socketPath) {}

Client::~Client() {
  if (descriptor_ >= 0) close(descriptor_);
}

void Client::connectOnce() {
  if (descriptor_ >= 0) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath_.empty() || socketPath_.size() >= sizeof address.sun_path) {
    throw Failure("the path of the socket must have 1 to 107 bytes");
  }
  std::memcpy(address.sun_path, socketPath_.data(), socketPath_.size());
  descriptor_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  const timeval timeout{kTimeoutSecs, 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw Failure("cannot reach the manager at " + socketPath_ + ": " + std::strerror(errno) +
                  (errno == EACCES ? "" : "; is hotspot-manager running?"));
  }
}

nlohmann::json Client::ask(const std::string& verb, const nlohmann::json& arguments) {
  nv::message request;
  request.insert_string(admin::kVerb, verb);
  try {
    request.insert_string(admin::kArguments, arguments.dump());
  } catch (const nlohmann::json::exception&) {
    throw Failure("a value is not valid UTF-8 text");
  }
  if (!request.fits()) throw Failure("the request is too long");
  connectOnce();
  const std::string& wire = request.encode();
  // A refused connection is answered and closed before anything is read of it.
  const bool sent = send(descriptor_, wire.data(), wire.size(), MSG_NOSIGNAL) >= 0;
  std::string packet(nv::kMaxMessageBytes, '\0');
  const ssize_t length = recv(descriptor_, packet.data(), packet.size(), 0);
  if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
    throw Failure("the manager did not answer in time");
  }
  if (length <= 0) throw Failure(sent ? "the manager closed the connection" : "cannot send");
  nv::message reply;
  if (!reply.decode(packet.data(), static_cast<std::size_t>(length))) {
    throw Failure("the manager's answer is malformed");
  }
  if (nv::isError(reply, nullptr, nullptr)) throw Failure(nv::getError(reply));
  nlohmann::json result =
      nlohmann::json::parse(reply.get_string(admin::kResult, ""), nullptr, false);
  if (result.is_discarded()) throw Failure("the manager's answer is malformed");
  return result;
}

nlohmann::json Client::askRows(const std::string& verb, nlohmann::json arguments) {
  nlohmann::json rows = nlohmann::json::array();
  for (;;) {
    const nlohmann::json part = ask(verb, arguments);
    for (const nlohmann::json& row : part.at("rows")) rows.push_back(row);
    if (!part.contains("next")) return rows;
    arguments["after"] = part["next"];
  }
}

}  // namespace hotspotctl
