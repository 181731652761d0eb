// hotspot-manager: the process that owns the hotspot's users and sessions.

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "manager/config.h"
#include "manager/fail_stop.h"
#include "manager/service.h"

namespace {

void setUpLog(const std::string& level) {
  spdlog::set_default_logger(spdlog::stderr_logger_mt("hotspot-manager"));
  spdlog::set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  spdlog::set_level(spdlog::level::from_str(level));
}

// Room for every connection that the sockets may have, where the soft limit is the usual 1024.
void raiseDescriptorLimit() {
  constexpr rlim_t kWanted = 4096;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWanted) return;
  limit.rlim_cur = std::min(kWanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Some destructors of libraries need memory (that of a JSON value, for one).
[[noreturn]] void endOfAnException() {
  try {
    if (std::current_exception()) std::rethrow_exception(std::current_exception());
  } catch (const std::exception& error) {
    manager::failStop(error);
  }
  std::abort();
}

int run(int argc, char** argv) {
  manager::Config config;
  const settings::Result result = manager::readConfig(argc, argv, &config);
  if (!result.run) return settings::finish(result);
  if (config.checkOnly) {
    std::puts("the settings are valid");
    return 0;
  }
  setUpLog(config.logLevel);
  // A limit on file sizes shows as a failed write, like a full disk, instead of ending the process.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  // The database holds passwords: its files are the manager's alone.
  umask(0077);
  raiseDescriptorLimit();
  manager::Service service(config);
  service.run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::set_terminate(endOfAnException);
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hotspot-manager: %s\n", manager::reasonOf(error));
    return 1;
  }
}
