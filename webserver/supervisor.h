// The first process: opens what the workers share, starts them, replaces those that die, stops
// them.

#ifndef WEBSERVER_SUPERVISOR_H_
#define WEBSERVER_SUPERVISOR_H_

#include <sys/types.h>

#include <functional>
#include <memory>
#include <vector>

#include "webserver/config.h"
#include "webserver/listeners.h"
#include "webserver/shared_counters.h"
#include "webserver/tls.h"
#include "webserver/worker.h"

namespace web {

// Whether everything that the settings name is there: module, certificate, log, user. Opens no
// port. Throws std::runtime_error (ConfigError) with one line.
void checkSettings(const Config& config);

// Has no threads; forks. Signals: SIGTERM and SIGINT stop, SIGHUP reloads.
class Supervisor {
 public:
  // Reads the settings anew, as at the start; a result that does not run leaves everything as it
  // is.
  using Reload = std::function<settings::Result(Config* config)>;

  // Opens the listening sockets and loads the certificate. Throws as checkSettings.
  Supervisor(const Config& config, Reload reload);
  ~Supervisor();

  // Runs until it is told to stop. Returns the exit status.
  int run();

 private:
  // All that belongs to one reading of the settings.
  struct Generation {
    Generation(const Config& settings, const Listeners& previous, TicketKeys& keys);
    Config config;
    Listeners listeners;
    std::unique_ptr<Tls> tls;
  };
  // A worker's place; pid 0 while it waits for its next start.
  struct Seat {
    pid_t pid = 0;
    unsigned part = 0;
    Clock::time_point startedAt;
    Clock::time_point restartAt;
    unsigned failures = 0;  // short lives in a row
  };
  // A worker of an earlier generation, or one that was told to stop.
  struct Leaving {
    pid_t pid;
    unsigned part;
    Clock::time_point killAt;
  };

  void announce() const;
  void start(Seat& seat);
  void startDue();
  void reap();
  void ended(Seat& seat, int status);
  void reload();
  void dismiss(std::vector<Seat>& seats);
  void stop();
  void killLate();
  void waitForSignal(int* signal);
  bool takePart(unsigned* part);

  Reload reload_;
  TicketKeys keys_;
  std::unique_ptr<Generation> generation_;
  SharedCounters counters_;
  std::vector<bool> partTaken_;
  std::vector<Seat> seats_;
  std::vector<Leaving> leaving_;
};

}  // namespace web

#endif  // WEBSERVER_SUPERVISOR_H_
