// hotspot-preview: shows a page directory in every state that a guest can meet, on loopback, with
// the real module and a scripted manager. docs/preview.md describes it.

#include <CLI/CLI.hpp>
#include <boost/asio/signal_set.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "tools/hotspot_preview_data.h"
#include "tools/hotspot_preview_play.h"
#include "tools/hotspot_preview_reload.h"
#include "tools/hotspot_preview_screenshots.h"
#include "tools/hotspot_preview_server.h"
#include "tools/hotspot_preview_site.h"
#include "tools/hotspot_preview_states.h"
#include "tools/hotspot_replay_module.h"

namespace preview {
namespace {

enum ExitStatus { kDone = 0, kCannotRun = 2 };

struct Options {
  std::string directory;
  std::string modulePath;
  unsigned short port = 8400;
  bool list = false;
  bool json = false;
  ScreenshotOptions screenshots;
};

void print(const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) {
    throw std::runtime_error(std::string("cannot write: ") + std::strerror(errno));
  }
}

std::string statesAsText(const std::vector<State>& states) {
  std::string text;
  std::string group;
  for (const State& state : states) {
    if (state.group != group) text += (group.empty() ? "" : "\n") + state.group + "\n";
    group = state.group;
    std::string line = "  " + state.name;
    line.resize(std::max<std::size_t>(line.size() + 2, 40), ' ');
    text += line + state.title + "\n";
  }
  return text;
}

// An absolute name: the module may be asked for pages from anywhere.
std::filesystem::path pageDirectory(const std::string& given) {
  std::error_code error;
  std::filesystem::path directory = std::filesystem::canonical(given, error);
  if (error) throw std::runtime_error(given + ": " + error.message());
  if (!std::filesystem::is_directory(directory)) {
    throw std::runtime_error(given + " is no directory; give the one that holds login.html");
  }
  return directory;
}

bool isIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

int serve(const Options& options, const std::filesystem::path& directory, Player& player) {
  Site site(player, directory);
  Server server(site, options.port);
  const Reloader reloader(server.io(), directory, [&](const auto& files, const auto& problem) {
    site.noteChange(problem);
    server.tellChange(files);
  });
  boost::asio::signal_set signals(server.io(), SIGINT, SIGTERM);
  // Under nohup(1) it outlives its terminal.
  if (!isIgnored(SIGHUP)) signals.add(SIGHUP);
  signals.async_wait([&](const auto&, int) { server.io().stop(); });
  print("hotspot-preview: http://127.0.0.1:" + server.port() + "/ shows " + directory.string() +
        " (Ctrl-C ends it)\n");
  server.io().run();
  return kDone;
}

int run(const Options& options) {
  if (options.list) {
    const std::vector<State> states =
        options.directory.empty() ? fixedStates() : statesOf(pageDirectory(options.directory));
    print(options.json ? statesData(states) : statesAsText(states));
    return kDone;
  }
  const std::filesystem::path directory = pageDirectory(options.directory);
  const std::string module =
      options.modulePath.empty() ? replay::defaultModulePath() : options.modulePath;
  Player player(module, directory.string() + "/");
  if (options.screenshots.directory.empty()) return serve(options, directory, player);
  takeScreenshots(options.screenshots, directory, player);
  return kDone;
}

}  // namespace
}  // namespace preview

int main(int argc, char** argv) {
  preview::Options options;
  CLI::App app(
      "Shows a page directory in every state that a guest can meet, with the real hotspot module.\n"
      "Opened in a browser: a gallery that reloads when a file is saved.\n"
      "Exit status: 0 done, 2 wrong usage or something is missing.");
  CLI::Option* const directory = app.add_option("DIR", options.directory, "the page directory");
  CLI::Option* const port = app.add_option(
      "--port", options.port, "port on 127.0.0.1 (default: 8400; 0: one that is free)");
  CLI::Option* const list =
      app.add_flag("--list", options.list, "print the states and stop; with DIR also its own");
  app.add_flag("--json", options.json, "the list as JSON")->needs(list);
  app.add_option("--module", options.modulePath,
                 "the module to load (default: hotspot.so of this program)");
  preview::ScreenshotOptions& shots = options.screenshots;
  CLI::Option* const screenshots =
      app.add_option("--screenshots", shots.directory,
                     "write each state as OUT/STATE-WIDTH.png through Chromium and stop")
          ->type_name("OUT")
          ->excludes(port)
          ->excludes(list);
  app.add_option("--width", shots.widths, "widths of the screenshots in pixels (default: 375,1280)")
      ->delimiter(',')
      ->check(CLI::Range(preview::kLeastWidth, preview::kMostWidth))
      ->needs(screenshots);
  app.add_option("--state", shots.states, "only these states")->delimiter(',')->needs(screenshots);
  app.add_flag("--dark", shots.isDark, "as a device in dark mode shows them")->needs(screenshots);
  app.add_option("--browser", shots.browser, "the browser (default: chromium in PATH)")
      ->needs(screenshots);
  app.set_version_flag("--version", "hotspot-preview " HOTSPOT_VERSION);
  try {
    app.parse(argc, argv);
    if (directory->count() == 0 && !options.list) throw CLI::RequiredError("DIR");
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? preview::kDone : preview::kCannotRun;
  }
  try {
    return preview::run(options);
  } catch (const std::exception& error) {
    std::cerr << "hotspot-preview: " << error.what() << "\n";
    return preview::kCannotRun;
  }
}
