#include "manager/service.h"

#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <exception>

#include "manager/fail_stop.h"
#include "manager/failures.h"
#include "manager/replies.h"

namespace manager {

namespace {

constexpr std::chrono::seconds kSweepInterval{1};

// How often, and how many times, the stopping manager looks whether all is answered: ten seconds in
// all.
constexpr std::chrono::milliseconds kStopTurn{20};
constexpr int kStopTurns = 500;
// A second: whoever waits for the end longer wants to know why.
constexpr int kPatientTurns = 50;

Ledger& started(Ledger& ledger) {
  ledger.start();
  return ledger;
}

}  // namespace

Service::Service(const Config& config)
    : store_(config.database),
      ledger_(store_, clock_, enforcer_, config.server, config.maxSessions),
      view_(clock_, enforcer_),
      queue_(loop_, started(ledger_), view_),
      users_(loop_, queue_, store_),
      clerk_(ledger_, users_),
      neighbours_(clock_, config.neighbourTable),
      portal_(view_, queue_, clerk_, users_, neighbours_, config.guessesPerMinute),
      admin_(ledger_, queue_, enforcer_),
      signals_(loop_, SIGTERM, SIGINT),
      hangup_(loop_, SIGHUP),
      timer_(loop_),
      portalSocket_(
          loop_, config.socket, groupId(config.group),
          [this](const nv::message& request, PeerSocket::Responder respond) {
            portal_.receive(request, respond);
          },
          [this] { return portal_.failedReply(); },
          [this](const nv::message& request) { portal_.expect(request); }),
      adminSocket_(
          loop_, config.adminSocket, groupId(config.adminGroup),
          [this](const nv::message& request, PeerSocket::Responder respond) {
            admin_.receive(request, std::move(respond));
          },
          [] { return protocolError(kFailInternal.text); }) {
  struct stat status {};
  if (stat(config.database.c_str(), &status) == 0 && (status.st_mode & 077) != 0) {
    spdlog::warn(
        "database {}: others than its owner may use it (mode {:04o}), and it holds passwords",
        config.database, status.st_mode & 07777);
  }
  if (access(config.neighbourTable.c_str(), R_OK) != 0) {
    spdlog::warn("neighbour table {}: {}; clients are told apart by their addresses alone",
                 config.neighbourTable, std::strerror(errno));
  }
  spdlog::info("serving on {} and, for administration, on {}", config.socket, config.adminSocket);
}

// Work of the queue's uses what is destroyed before it.
Service::~Service() { queue_.finish(); }

void Service::run() {
  signals_.async_wait([this](const boost::system::error_code& error, int signal) {
    if (error) return;
    spdlog::info("stopping on signal {}", signal);
    stop();
  });
  awaitHangup();
  scheduleSweep();
  try {
    loop_.run();
    queue_.finish();
  } catch (const std::exception& error) {
    // Something that the loop waits for is not waited for any more, or the view is only half a one.
    failStop(error);
  }
  try {
    ledger_.settle();
  } catch (const std::exception& error) {
    spdlog::error("the last counters and times of activity are not kept: {}", reasonOf(error));
  }
  spdlog::info("stopped");
}

void Service::awaitHangup() {
  hangup_.async_wait([this](const boost::system::error_code& error, int) {
    if (error) return;
    spdlog::warn("settings are read at the start alone: restart the manager for new ones");
    awaitHangup();
  });
}

void Service::scheduleSweep() {
  timer_.expires_after(kSweepInterval);
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (!error) sweep();
  });
}

void Service::sweep() {
  queue_.sweep([this](const Outcome& outcome) {
    if (outcome.failure && !sweepFailed_) {
      spdlog::error("cannot end sessions that are over: {}", outcome.reason);
    } else if (!outcome.failure && sweepFailed_) {
      spdlog::info("the database can be written again");
    }
    sweepFailed_ = outcome.failure.has_value();
    // However slow the disk is, one sweep is under way at a time.
    if (!stopping_) scheduleSweep();
  });
}

void Service::stop() {
  stopping_ = true;
  clerk_.refuseLogins();
  portalSocket_.stopAccepting();
  adminSocket_.stopAccepting();
  awaitLastAnswers(kStopTurns);
}

void Service::awaitLastAnswers(int turnsLeft) {
  // What lies in the sockets is read within the first turn.
  timer_.expires_after(kStopTurn);
  timer_.async_wait([this, turnsLeft](const boost::system::error_code& error) {
    if (error) return;
    // What waits for the disk is waited for as long as it takes; only peers that do not read their
    // answers, and password checks, are given up.
    const bool answered = portalSocket_.underWay() + adminSocket_.underWay() == 0;
    if (queue_.waiting() == 0 && (answered || turnsLeft == 0)) {
      if (!answered) spdlog::warn("some requests are not answered at the end");
      loop_.stop();
    } else {
      if (turnsLeft == kStopTurns - kPatientTurns && queue_.waiting() != 0) {
        spdlog::warn("still stopping: {} requests wait for the database", queue_.waiting());
      }
      awaitLastAnswers(turnsLeft > 0 ? turnsLeft - 1 : 0);
    }
  });
}

}  // namespace manager
