// TOML settings: the input is a settings file, read by options of every kind and, since those are
// many, by the programs' own for one length in four. Reading never throws; what does not run says
// why in one line; what runs is within its limits and is read the same a second time.

#include <sys/mman.h>
#include <unistd.h>

#include <deque>
#include <string>
#include <vector>

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

// Some of the web server's keys, so that the same files mean something to both.
struct Values {
  std::string mount = "/";
  unsigned port = 1;
  double ratio = 0.5;
  bool debug = false;
  std::vector<std::string> names;
  std::deque<unsigned> blockPorts;
};

std::string describe(const Values& values) {
  std::string text = values.mount + "|" + std::to_string(values.port) + "|" +
                     std::to_string(values.ratio) + (values.debug ? "|debug" : "|");
  for (const std::string& name : values.names) text += "|" + name;
  for (const unsigned port : values.blockPorts) text += "|" + std::to_string(port);
  return text;
}

settings::Result readSmall(const std::string& path, Values* values) {
  CLI::App app("a program");
  app.add_option("--mount", values->mount, "a text");
  app.add_option("--workers", values->port, "a number")->check(CLI::Range(1, 65535));
  app.add_option("--ratio", values->ratio, "a fraction");
  app.add_flag("--debug", values->debug, "a switch");
  app.add_option("--server-names", values->names, "a list");
  const settings::Blocks listen{"listen", [&](CLI::App& block, unsigned line) {
                                  fuzz::check(line > 0, "a block has a line");
                                  block.add_option("--port", values->blockPorts.emplace_back(0))
                                      ->check(CLI::Range(0, 65535))
                                      ->required();
                                }};
  const char* const arguments[] = {"program", "--config", path.c_str()};
  return settings::parse(app, 3, arguments, "", {listen});
}

void readAnything(const std::string& path) {
  Values values;
  const settings::Result result = readSmall(path, &values);
  if (!result.run) return checkMessage(result, path);
  fuzz::check(within(values.port, 1, 65535), "a number within its limits");
  for (const unsigned port : values.blockPorts) {
    fuzz::check(within(port, 0, 65535), "a block's number within its limits");
  }
  for (const auto& [key, line] : result.lines) {
    fuzz::checkEqual(result.where(key), path + ":" + std::to_string(line) + ": " + key,
                     "a setting comes from its line");
  }
  Values again;
  fuzz::check(readSmall(path, &again).run, "the same is read again");
  fuzz::checkEqual(describe(again), describe(values), "the same is read again");
}

void readWeb(const std::string& path) {
  const char* const arguments[] = {"hotspot-web", "--config", path.c_str()};
  web::Config config;
  const settings::Result result = web::readConfig(3, arguments, &config);
  if (!result.run) return checkMessage(result, path);
  checkLimits(config);
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
  readAnything(file.path());
  if (size % 8 == 0) readWeb(file.path());
  if (size % 8 == 4) readManager(file.path());
  return 0;
}
