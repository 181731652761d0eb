#include "manager/service.h"

#include <spdlog/spdlog.h>

#include <chrono>
#include <csignal>

namespace manager {

namespace {

constexpr std::chrono::seconds kSweepInterval{1};

// How often, and how many times, the stopping manager looks whether all is answered: ten seconds in
// all.
constexpr std::chrono::milliseconds kStopTurn{20};
constexpr int kStopTurns = 500;

}  // namespace

Service::Service(const Config& config)
    : store_(config.database),
      ledger_(store_, clock_, enforcer_, config.server),
      batch_(loop_, ledger_),
      users_(loop_, store_),
      neighbours_(clock_, config.neighbourTable),
      portal_(ledger_, batch_, users_, neighbours_),
      admin_(ledger_, batch_, enforcer_),
      signals_(loop_, SIGTERM, SIGINT),
      timer_(loop_),
      portalSocket_(loop_, config.socket, groupId(config.group),
                    [this](const nv::message& request, PeerSocket::Responder respond) {
                      portal_.receive(request, std::move(respond));
                    }),
      adminSocket_(loop_, config.adminSocket, groupId(config.adminGroup),
                   [this](const nv::message& request, PeerSocket::Responder respond) {
                     admin_.receive(request, std::move(respond));
                   }) {
  ledger_.start();
  spdlog::info("serving on {} and, for administration, on {}", config.socket, config.adminSocket);
}

void Service::run() {
  signals_.async_wait([this](const boost::system::error_code& error, int signal) {
    if (error) return;
    spdlog::info("stopping on signal {}", signal);
    stop();
  });
  scheduleSweep();
  loop_.run();
  try {
    ledger_.settle();
  } catch (const StoreError& error) {
    spdlog::error("the last counters and times of activity are not kept: {}", error.what());
  }
  spdlog::info("stopped");
}

void Service::scheduleSweep() {
  timer_.expires_after(kSweepInterval);
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (error) return;
    sweep();
    scheduleSweep();
  });
}

void Service::sweep() {
  try {
    ledger_.sweep();
    if (sweepFailed_) spdlog::info("the database can be written again");
    sweepFailed_ = false;
  } catch (const StoreError& error) {
    if (!sweepFailed_) spdlog::error("cannot end sessions that are over: {}", error.what());
    sweepFailed_ = true;
  }
}

void Service::stop() {
  portal_.refuseLogins();
  portalSocket_.stopAccepting();
  adminSocket_.stopAccepting();
  awaitLastAnswers(kStopTurns);
}

void Service::awaitLastAnswers(int turnsLeft) {
  // What lies in the sockets is read within the first turn.
  timer_.expires_after(kStopTurn);
  timer_.async_wait([this, turnsLeft](const boost::system::error_code& error) {
    if (error) return;
    if (turnsLeft == 0 || portalSocket_.underWay() + adminSocket_.underWay() == 0) {
      loop_.stop();
    } else {
      awaitLastAnswers(turnsLeft - 1);
    }
  });
}

}  // namespace manager
