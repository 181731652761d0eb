#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/debug.h"
#include "platform/debug_stream.h"
#include "webserver/fault_guard.h"
#include "webserver/logging.h"
#include "webserver/module.h"
#include "webserver/worker.h"

namespace web {
namespace {

// Null when no other user is wanted.
const passwd* wantedUser(const Config& config) {
  if (config.user.empty()) return nullptr;
  const passwd* user = getpwnam(config.user.c_str());
  if (user == nullptr) {
    throw ConfigError(config.where("user") + ": there is no user \"" + config.user + "\"");
  }
  return user->pw_uid == geteuid() ? nullptr : user;
}

void becomeUser(const Config& config) {
  const passwd* user = wantedUser(config);
  if (user == nullptr) return;
  if (initgroups(user->pw_name, user->pw_gid) != 0 || setgid(user->pw_gid) != 0 ||
      setuid(user->pw_uid) != 0) {
    throw ConfigError(config.where("user") + ": cannot become \"" + config.user +
                      "\": " + std::strerror(errno));
  }
}

}  // namespace

void checkUser(const Config& config) {
  if (wantedUser(config) != nullptr && geteuid() != 0) {
    throw ConfigError(config.where("user") + ": only root can become \"" + config.user +
                      "\": start as root, or without this setting");
  }
}

int runWorker(const WorkerSetup& setup) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);
  installFaultHandler();
  try {
    platform::switchDebug(setup.config.debug);
    AccessLog log(setup.config.accessLog);
    becomeUser(setup.config);
    // After the change of user, which clears it. Without its supervisor a worker finishes and ends.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != setup.supervisor) std::raise(SIGTERM);
    const std::unique_ptr<Servlet> servlet = loadServlet(setup.config);
    Worker worker(setup, log);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    worker.run(*servlet);
    return 0;
  } catch (const std::exception& error) {
    logError(error.what());
    return 1;
  }
}

}  // namespace web
