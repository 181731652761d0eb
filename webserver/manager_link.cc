#include "webserver/manager_link.h"

#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

namespace web {
namespace {

// How often a reply is looked for, in the processor's turns that others leave over, before the
// thread sleeps for it. That is about as long as the manager takes, and putting a processor to
// sleep and waking it again costs more than the whole exchange.
constexpr int kLooks = 40;
// Where many others want the processor a single turn may take milliseconds.
constexpr std::chrono::microseconds kLookTime{500};

// Waits until the descriptor is ready or the time is over. The rest of the time is computed anew
// after every interruption, on the same clock.
bool waitFor(int descriptor, short events, Clock::time_point until) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(until - Clock::now());
    const long long ns = left.count() > 0 ? left.count() : 0;
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(ns / 1000000000);
    time.tv_nsec = static_cast<long>(ns % 1000000000);
    pollfd poll{descriptor, events, 0};
    const int ready = ppoll(&poll, 1, &time, nullptr);
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR) return false;
  }
}

}  // namespace

ManagerLink::ManagerLink(ManagerLink&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), tainted_(other.tainted_) {}

ManagerLink& ManagerLink::operator=(ManagerLink&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(tainted_, other.tainted_);
  return *this;
}

ManagerLink::~ManagerLink() {
  if (descriptor_ >= 0) close(descriptor_);
}

ManagerLink::Outcome ManagerLink::open(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return Outcome::kBroken;
  std::memcpy(address.sun_path, path.data(), path.size());
  descriptor_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) return Outcome::kBroken;
  if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return Outcome::kDone;
  }
  const bool full = errno == EAGAIN;
  close(std::exchange(descriptor_, -1));
  return full ? Outcome::kNotYet : Outcome::kBroken;
}

ManagerLink::Outcome ManagerLink::send(const nv::message& request, Clock::time_point until) {
  const std::string& wire = request.encode();
  for (;;) {
    if (::send(descriptor_, wire.data(), wire.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
      return Outcome::kDone;
    }
    if (errno == EINTR) continue;
    if (errno != EAGAIN) return Outcome::kUndelivered;
    if (!waitFor(descriptor_, POLLOUT, until)) return Outcome::kNotYet;
  }
}

ManagerLink::Outcome ManagerLink::receive(std::uint32_t number, nv::message* reply,
                                          Clock::time_point until) {
  // One byte more than a message can have tells a longer packet from a whole one.
  char buffer[nv::kMaxMessageBytes + 1];
  const Clock::time_point lookUntil = Clock::now() + kLookTime;
  for (int looks = 0;;) {
    const ssize_t length = recv(descriptor_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (length > 0) {
      if (reply->decode(buffer, static_cast<std::size_t>(length)) &&
          reply->size_u32(kRequestNumber) != 0 && reply->get_u32(kRequestNumber, 0) == number) {
        reply->erase(kRequestNumber);
        return Outcome::kDone;
      }
      tainted_ = true;
      if (Clock::now() >= until) return Outcome::kNotYet;
    } else if (length == 0 || (errno != EINTR && errno != EAGAIN)) {
      return Outcome::kBroken;
    } else if (looks < kLooks && Clock::now() < lookUntil) {
      ++looks;
      sched_yield();
    } else if (!waitFor(descriptor_, POLLIN, until)) {
      return Outcome::kNotYet;
    }
  }
}

}  // namespace web
