#include "tools/hotspot_preview_screenshots.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "tools/hotspot_preview_browser.h"
#include "tools/hotspot_preview_server.h"
#include "tools/hotspot_preview_site.h"

namespace preview {
namespace {

namespace fs = std::filesystem;

std::atomic<bool> stopAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free, "it is set by a signal");

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

// While it lives, those set `stopAsked`.
class StopSignals {
 public:
  StopSignals() {
    for (const int signal : kStopSignals) {
      const auto before = std::signal(signal, [](int) { stopAsked = true; });
      if (before == SIG_IGN) std::signal(signal, SIG_IGN);  // nohup(1)
    }
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals() {
    for (const int signal : kStopSignals) std::signal(signal, SIG_DFL);
  }
};

// The preview's server on a thread of its own.
class ServerThread {
 public:
  explicit ServerThread(Server& server)
      : server_(server), thread_([this] { server_.io().run(); }) {}
  ServerThread(const ServerThread&) = delete;
  ServerThread& operator=(const ServerThread&) = delete;
  ~ServerThread() {
    server_.io().stop();
    thread_.join();
  }

 private:
  Server& server_;
  std::thread thread_;
};

std::vector<State> wantedStates(const std::vector<State>& all,
                                const std::vector<std::string>& names) {
  if (names.empty()) return all;
  std::vector<State> wanted;
  for (const std::string& name : names) {
    const State* const state = findState(all, name);
    if (state == nullptr) {
      throw std::runtime_error("there is no state \"" + name + "\"; --list shows them");
    }
    wanted.push_back(*state);
  }
  return wanted;
}

void writeFile(const fs::path& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
  out.close();
  if (!out) throw std::runtime_error(file.string() + " cannot be written: " + std::strerror(errno));
}

}  // namespace

void takeScreenshots(const ScreenshotOptions& options, const fs::path& pages, Player& player) {
  const std::string program = findBrowser(options.browser);
  Site site(player, pages);
  const std::vector<State> states = wantedStates(site.states(), options.states);
  const fs::path out = options.directory;
  std::error_code error;
  fs::create_directories(out, error);
  if (!fs::is_directory(out)) {
    throw std::runtime_error(out.string() + " cannot be made: " + error.message());
  }
  if (geteuid() == 0) {
    std::cerr << "hotspot-preview: started by root, the browser runs without its sandbox\n";
  }

  Server server(site, 0);
  // The addresses are made before the server's thread begins.
  std::vector<std::string> addresses;
  addresses.reserve(states.size());
  for (const State& state : states)
    addresses.push_back(site.frameAddress(state, "", server.port()));
  const ServerThread thread(server);
  const StopSignals signals;
  Browser browser(program, stopAsked);
  const std::size_t total = states.size() * options.widths.size();
  std::size_t number = 0;
  for (std::size_t i = 0; i < states.size(); ++i) {
    for (const int width : options.widths) {
      const std::string name =
          states[i].name + "-" + std::to_string(width) + (options.isDark ? "-dark" : "") + ".png";
      std::cerr << "[" << ++number << "/" << total << "] " << name << "\n";
      const std::string png = browser.shoot(addresses[i], width, options.isDark);
      writeFile(out / name, png);
    }
  }
}

}  // namespace preview
