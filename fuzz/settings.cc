// TOML settings: the input is a settings file, read by both programs' own options. Reading never
// throws; what does not run says why in one line; what runs is within its limits and is read the
// same a second time.

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/check.h"
#include "manager/config.h"
#include "webserver/config.h"

namespace {

// A file without a name, given to the programs by its descriptor's.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("settings", MFD_CLOEXEC)) {
    fuzz::check(descriptor_ >= 0, "a file in memory");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  void write(const std::uint8_t* data, std::size_t size) {
    fuzz::check(ftruncate(descriptor_, 0) == 0 &&
                    pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
                "the file can be written");
  }
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  const int descriptor_;
};

void checkMessage(const settings::Result& result, const std::string& path) {
  fuzz::check(result.exitCode == 1, "a mistake ends with status 1");
  fuzz::check(result.text.compare(0, path.size(), path) == 0 && result.text.size() > path.size(),
              "a mistake names the file");
  fuzz::check(result.text.find('\n') == std::string::npos, "a mistake is one line");
}

bool within(unsigned value, unsigned least, unsigned most) {
  return least <= value && value <= most;
}

std::string describe(const web::Config& config) {
  std::string text = config.certificate + "|" + config.key + "|" + config.managerSocket + "|" +
                     config.mount + "|" + config.user + "|" + config.logLevel + "|" +
                     std::to_string(config.workers) + "|" + std::to_string(config.maxWaiting);
  for (const std::string& name : config.serverNames) text += "|" + name;
  for (const web::ListenConfig& listen : config.listen) {
    text += "|" + listen.address + ":" + std::to_string(listen.port) +
            (listen.tls ? ",tls," : ",") + std::to_string(listen.flags);
  }
  return text;
}

void checkLimits(const web::Config& config) {
  fuzz::check(!config.listen.empty(), "there is a listener");
  for (const web::ListenConfig& listen : config.listen) {
    fuzz::check(listen.port <= 65535, "a port");
  }
  for (const unsigned secs : {config.headerTimeoutSecs, config.bodyTimeoutSecs,
                              config.idleTimeoutSecs, config.writeTimeoutSecs}) {
    fuzz::check(within(secs, 1, 3600), "a time-out within its limits");
  }
  fuzz::check(within(config.maxConnections, 1, 1000000), "connections within their limits");
  fuzz::check(within(config.maxWaiting, 1, 10000), "waiting requests within their limits");
  fuzz::check(config.mount.front() == '/', "the mount point is a path");
}

// `again`: a second time too.
void readWeb(const std::string& path, bool withListener, bool again) {
  const char* const arguments[] = {"hotspot-web", "--config", path.c_str(), "--listen",
                                   "127.0.0.1:0"};
  const int count = withListener ? 5 : 3;
  web::Config config;
  const settings::Result result = web::readConfig(count, arguments, &config);
  if (!result.run) return checkMessage(result, path);
  checkLimits(config);
  if (!again) return;
  web::Config second;
  web::readConfig(count, arguments, &second);
  fuzz::checkEqual(describe(second), describe(config), "the same is read again");
}

void readManager(const std::string& path) {
  const char* const arguments[] = {"hotspot-manager", "--config", path.c_str()};
  manager::Config config;
  const settings::Result result = manager::readConfig(3, arguments, &config);
  if (!result.run) return checkMessage(result, path);
  for (const std::string& each :
       {config.socket, config.adminSocket, config.database, config.neighbourTable}) {
    fuzz::check(!each.empty() && each.front() == '/', "a path is absolute");
  }
  fuzz::check(config.socket != config.adminSocket, "two sockets");
  fuzz::check(config.server.htmlDir.back() == '/', "the page directory ends with a slash");
  fuzz::check(config.guessesPerMinute <= 100000, "guesses within their limits");
  for (const char* const name : {"debug", "info", "warn", "error"}) {
    if (config.logLevel == name) return;
  }
  fuzz::check(false, "a level of the log");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile file;
  file.write(data, size);
  readWeb(file.path(), size % 4 == 1, size % 8 == 2);
  readManager(file.path());
  return 0;
}
