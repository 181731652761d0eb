#include "webserver/worker.h"

#include <fcntl.h>
#include <linux/netfilter_ipv4.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include "webserver/connection.h"
#include "webserver/logging.h"

namespace web {
namespace {

constexpr std::chrono::seconds kSweepPeriod{1};
constexpr std::chrono::milliseconds kAcceptPause{100};
// How long a worker with more connections than the others leaves the next one to them.
constexpr std::chrono::milliseconds kOthersFirst{3};
constexpr unsigned kMoreThanOthers = 2;
// The machine's addresses are read again once in so many sweeps.
constexpr unsigned kSweepsToRefresh = 10;

ConnectionFacts factsOf(int socket, const ListenConfig& listen, std::uint32_t clientAddr) {
  ConnectionFacts facts;
  facts.clientAddr = clientAddr;
  facts.tls = listen.tls;
  facts.flags = listen.flags & ~static_cast<std::uint32_t>(kConnOrigDstKnown);
  sockaddr_in local{};
  socklen_t length = sizeof local;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "getsockname");
  }
  facts.localAddr = local.sin_addr.s_addr;
  // Of a connection that was not redirected the system gives the local end, or nothing at all.
  sockaddr_in original{};
  length = sizeof original;
  if (getsockopt(socket, SOL_IP, SO_ORIGINAL_DST, &original, &length) == 0 &&
      (original.sin_addr.s_addr != local.sin_addr.s_addr || original.sin_port != local.sin_port)) {
    facts.flags |= kConnOrigDstKnown;
    facts.origDst[0] = ntohl(original.sin_addr.s_addr);
    facts.origDst[1] = ntohs(original.sin_port);
  }
  return facts;
}

}  // namespace

WorkerState::WorkerState(const Config& settings, SharedCounters& shared, unsigned ownPart,
                         AccessLog& accessLog)
    : config(settings),
      counters(shared),
      part(ownPart),
      log(accessLog),
      manager(settings.managerSocket),
      own(settings) {}

WorkerState::~WorkerState() = default;

// A listening socket as this worker sees it.
struct Worker::Door {
  Door(boost::asio::io_context& context, const Listener& opened)
      : config(opened.config),
        readiness(context, fcntl(opened.socket, F_DUPFD_CLOEXEC, 0)),
        pause(context) {}

  const ListenConfig config;
  boost::asio::posix::stream_descriptor readiness;
  boost::asio::steady_timer pause;
};

Worker::Worker(const WorkerSetup& setup, AccessLog& log)
    : setup_(setup),
      state_(setup.config, setup.counters, setup.part, log),
      signals_(state_.loop.context(), SIGTERM, SIGINT),
      sweepTimer_(state_.loop.context()) {
  for (const Listener& each : setup.listeners.all()) {
    doors_.push_back(std::make_unique<Door>(state_.loop.context(), each));
  }
  // With the last door closed the system refuses whoever comes, instead of letting him wait.
  setup.listeners = Listeners();
}

Worker::~Worker() = default;

void Worker::run(Servlet& servlet) {
  state_.servlet = &servlet;
  signals_.async_wait([this](const boost::system::error_code& error, int) {
    if (!error) beginStop();
  });
  for (const auto& door : doors_) acceptNext(*door);
  sweep();
  state_.loop.run();
}

// Waits and then takes one connection only: whoever comes first would otherwise take all that are
// there, and the other workers would have nothing to do.
void Worker::acceptNext(Door& door) {
  door.readiness.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                            [this, &door](const boost::system::error_code& error) {
                              if (error) return;
                              if (hasMoreThanOthers()) return acceptLater(door, kOthersFirst);
                              acceptOne(door);
                            });
}

void Worker::acceptLater(Door& door, std::chrono::milliseconds pause) {
  door.pause.expires_after(pause);
  door.pause.async_wait([this, &door](const boost::system::error_code& error) {
    if (!error) acceptOne(door);
  });
}

bool Worker::hasMoreThanOthers() const {
  const unsigned share = state_.counters.connections() / setup_.config.workers;
  return state_.connections.size() > share + kMoreThanOthers;
}

void Worker::acceptOne(Door& door) {
  sockaddr_in client{};
  socklen_t length = sizeof client;
  const int socket = accept4(door.readiness.native_handle(), reinterpret_cast<sockaddr*>(&client),
                             &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
  const int error = socket < 0 ? errno : 0;
  // Short of something, as a rule of descriptors; trying again at once would keep the processor
  // busy.
  if (error != 0 && error != EAGAIN && error != EINTR && error != ECONNABORTED) {
    logFailure("cannot accept a connection", std::strerror(error));
    return acceptLater(door, kAcceptPause);
  }
  // First: the new connection's first request may block this thread.
  acceptNext(door);
  if (socket >= 0) adopt(door, socket, client.sin_addr.s_addr);
}

void Worker::adopt(Door& door, int socket, std::uint32_t clientAddr) {
  const Config& config = setup_.config;
  if (!state_.counters.connect(state_.part, clientAddr, config.maxConnections,
                               config.maxConnectionsPerClient)) {
    logDebug("a connection was refused: too many");
    close(socket);
    return;
  }
  std::shared_ptr<Connection> connection;
  try {
    std::unique_ptr<Transport> transport =
        door.config.tls ? setup_.tls->makeTransport(socket) : makePlainTransport(socket);
    const ConnectionFacts facts = factsOf(socket, door.config, clientAddr);
    state_.connections.emplace_front();
    connection = std::make_shared<Connection>(state_, socket, std::move(transport), facts);
  } catch (const std::exception& error) {
    logFailure("cannot serve a connection", error.what());
    if (!state_.connections.empty() && state_.connections.front() == nullptr) {
      state_.connections.pop_front();
    }
    state_.counters.disconnect(state_.part, clientAddr);
    close(socket);
    return;
  }
  state_.connections.front() = connection;
  connection->start(state_.connections.begin());
}

// The one timer of a worker.
void Worker::sweep() {
  const Clock::time_point now = Clock::now();
  for (auto next = state_.connections.begin(); next != state_.connections.end();) {
    const std::shared_ptr<Connection> connection = *next++;
    connection->sweep(now);
  }
  if (++sweeps_ % kSweepsToRefresh == 0) state_.own.refresh();
  if (state_.stopping) {
    endWhenEmpty();
    if (now >= stopDeadline_) {
      logWarning("stopped with " + std::to_string(state_.connections.size()) +
                 " connections unfinished");
      // Threads that still wait inside the module cannot be joined.
      std::_Exit(0);
    }
  }
  sweepTimer_.expires_after(state_.stopping ? kSweepPeriod / 10 : kSweepPeriod);
  sweepTimer_.async_wait([this](const boost::system::error_code& error) {
    if (!error) sweep();
  });
}

void Worker::beginStop() {
  if (state_.stopping) return;
  state_.stopping = true;
  stopDeadline_ = Clock::now() + std::chrono::seconds(setup_.config.stopTimeoutSecs);
  for (const auto& door : doors_) {
    boost::system::error_code ignored;
    door->pause.cancel();
    door->readiness.close(ignored);
  }
  for (auto next = state_.connections.begin(); next != state_.connections.end();) {
    const std::shared_ptr<Connection> connection = *next++;
    connection->stop();
  }
  sweepTimer_.cancel();
  sweep();
}

void Worker::endWhenEmpty() {
  if (state_.connections.empty()) state_.loop.stop();
}

}  // namespace web
