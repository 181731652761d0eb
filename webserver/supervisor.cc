#include "webserver/supervisor.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "webserver/logging.h"
#include "webserver/module.h"

namespace web {
namespace {

// A worker that lives longer is started again at once.
constexpr std::chrono::seconds kShortLife{2};
constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::milliseconds kLongestPause{10000};
// What a worker may take beyond its own time-out before it is killed.
constexpr std::chrono::seconds kKillGrace{2};
constexpr std::chrono::seconds kRest{1};

sigset_t handledSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
  return signals;
}

bool wantsTls(const Config& config) {
  return std::any_of(config.listen.begin(), config.listen.end(),
                     [](const ListenConfig& each) { return each.tls; });
}

std::string describe(int status) {
  if (WIFSIGNALED(status)) {
    return "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ")";
  }
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

// Before a worker's next start, after so many that came to nothing in a row.
std::chrono::milliseconds pauseAfter(unsigned failures) {
  if (failures == 0) return std::chrono::milliseconds(0);
  return std::min(kLongestPause, kFirstPause * (1 << std::min(failures - 1, 10u)));
}

// Each connection takes two descriptors, each waiting request one more.
void raiseDescriptorLimit(const Config& config) {
  const rlim_t wanted = rlim_t{config.maxConnections} * 2 + config.maxWaiting + 256;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  if (geteuid() == 0 && limit.rlim_max < wanted) limit.rlim_cur = limit.rlim_max = wanted;
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur < wanted) {
    logWarning("only " + std::to_string(limit.rlim_cur) + " open files are allowed, but " +
               config.where("max-connections") + " may need " + std::to_string(wanted));
  }
}

}  // namespace

void checkSettings(const Config& config) {
  checkModule(config);
  checkUser(config);
  try {
    const AccessLog log(config.accessLog);
  } catch (const std::exception& error) {
    throw ConfigError(config.where("access-log") + ": " + error.what());
  }
  if (wantsTls(config)) {
    TicketKeys keys;
    const Tls tls(config, keys);
  }
}

Supervisor::Generation::Generation(const Config& settings, const Listeners& previous,
                                   TicketKeys& keys)
    : config(settings) {
  checkSettings(config);
  if (wantsTls(config)) tls = std::make_unique<Tls>(config, keys);
  listeners = Listeners(config, previous);
}

Supervisor::Supervisor(const Config& config, Reload reload)
    : reload_(std::move(reload)),
      generation_(std::make_unique<Generation>(config, Listeners(), keys_)),
      counters_(config.maxConnections),
      partTaken_(kMaxParts) {}

Supervisor::~Supervisor() = default;

void Supervisor::announce() const {
  for (const Listener& each : generation_->listeners.all()) {
    logInfo("listening on " + each.url());
  }
}

int Supervisor::run() {
  const sigset_t signals = handledSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  raiseDescriptorLimit(generation_->config);
  seats_.resize(generation_->config.workers);
  startDue();
  announce();
  for (;;) {
    startDue();
    int signal = 0;
    waitForSignal(&signal);
    if (signal == SIGTERM || signal == SIGINT) break;
    if (signal == SIGHUP) reload();
    reap();
    killLate();
  }
  stop();
  return 0;
}

// Returns with 0 when something is due without a signal.
void Supervisor::waitForSignal(int* signal) {
  const Clock::time_point now = Clock::now();
  Clock::time_point next = now + kRest;
  for (const Seat& seat : seats_) {
    if (seat.pid == 0) next = std::min(next, seat.restartAt);
  }
  const auto left = std::max(std::chrono::nanoseconds(0),
                             std::chrono::duration_cast<std::chrono::nanoseconds>(next - now));
  timespec time{};
  time.tv_sec = static_cast<std::time_t>(left.count() / 1000000000);
  time.tv_nsec = static_cast<long>(left.count() % 1000000000);
  const sigset_t signals = handledSignals();
  *signal = std::max(0, sigtimedwait(&signals, nullptr, &time));
}

bool Supervisor::takePart(unsigned* part) {
  const auto free = std::find(partTaken_.begin(), partTaken_.end(), false);
  if (free == partTaken_.end()) return false;
  *free = true;
  *part = static_cast<unsigned>(free - partTaken_.begin());
  return true;
}

void Supervisor::startDue() {
  const Clock::time_point now = Clock::now();
  for (Seat& seat : seats_) {
    if (seat.pid == 0 && seat.restartAt <= now) start(seat);
  }
}

void Supervisor::start(Seat& seat) {
  seat.startedAt = Clock::now();
  seat.restartAt = seat.startedAt + kLongestPause;
  if (!takePart(&seat.part)) return;
  const pid_t self = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    const WorkerSetup setup{generation_->config,
                            generation_->listeners,
                            generation_->tls.get(),
                            counters_,
                            seat.part,
                            self};
    std::exit(runWorker(setup));
  }
  if (pid < 0) {
    const int error = errno;
    partTaken_[seat.part] = false;
    seat.restartAt = seat.startedAt + pauseAfter(++seat.failures);
    logFailure("cannot start a worker", std::strerror(error));
    return;
  }
  seat.pid = pid;
  logDebug("worker " + std::to_string(pid) + " started");
}

void Supervisor::reap() {
  int status = 0;
  for (;;) {
    const pid_t pid = waitpid(-1, &status, WNOHANG);
    if (pid <= 0) return;
    unsigned part = kMaxParts;
    const auto seat = std::find_if(seats_.begin(), seats_.end(),
                                   [&](const Seat& each) { return each.pid == pid; });
    const auto gone = std::find_if(leaving_.begin(), leaving_.end(),
                                   [&](const Leaving& each) { return each.pid == pid; });
    if (seat != seats_.end()) {
      part = seat->part;
      ended(*seat, status);
    } else if (gone != leaving_.end()) {
      part = gone->part;
      leaving_.erase(gone);
    }
    if (part == kMaxParts) continue;
    counters_.clear(part);
    partTaken_[part] = false;
  }
}

// A worker that nobody told to stop has ended.
void Supervisor::ended(Seat& seat, int status) {
  const Clock::time_point now = Clock::now();
  seat.failures = now - seat.startedAt < kShortLife ? seat.failures + 1 : 0;
  const std::chrono::milliseconds pause = pauseAfter(seat.failures);
  logError("worker " + std::to_string(seat.pid) + " " + describe(status) +
           "; another takes its place in " + std::to_string(pause.count()) + " ms");
  seat.pid = 0;
  seat.restartAt = now + pause;
}

void Supervisor::reload() {
  Config config;
  const settings::Result result = reload_(&config);
  if (!result.run) {
    logError("not reloaded: " + result.text);
    return;
  }
  try {
    if (config.maxConnections > counters_.maxConnections()) {
      throw ConfigError(config.where("max-connections") + ": more than " +
                        std::to_string(counters_.maxConnections()) + " needs a restart");
    }
    auto next = std::make_unique<Generation>(config, generation_->listeners, keys_);
    generation_ = std::move(next);
  } catch (const std::exception& error) {
    logError(std::string("not reloaded: ") + error.what());
    return;
  }
  startLogging(generation_->config.logLevel);
  logInfo("reloaded");
  // The new ones first: the sockets are shared, so nobody is turned away in between.
  std::vector<Seat> old(generation_->config.workers);
  old.swap(seats_);
  startDue();
  announce();
  dismiss(old);
}

// Tells the workers in the seats to finish, and leaves the seats empty.
void Supervisor::dismiss(std::vector<Seat>& seats) {
  const Clock::time_point killAt =
      Clock::now() + std::chrono::seconds(generation_->config.stopTimeoutSecs) + kKillGrace;
  for (Seat& seat : seats) {
    if (seat.pid == 0) continue;
    kill(seat.pid, SIGTERM);
    leaving_.push_back({seat.pid, seat.part, killAt});
    seat.pid = 0;
  }
}

void Supervisor::killLate() {
  const Clock::time_point now = Clock::now();
  for (Leaving& each : leaving_) {
    if (now < each.killAt) continue;
    logWarning("worker " + std::to_string(each.pid) + " does not end and is killed");
    kill(each.pid, SIGKILL);
    each.killAt = now + kKillGrace;
  }
}

void Supervisor::stop() {
  logInfo("stopping");
  dismiss(seats_);
  seats_.clear();
  generation_->listeners = Listeners();
  while (!leaving_.empty()) {
    int signal = 0;
    waitForSignal(&signal);
    reap();
    killLate();
  }
  logInfo("stopped");
}

}  // namespace web
