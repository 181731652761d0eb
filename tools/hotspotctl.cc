// hotspotctl: the administrator's command line. Exit status: 0 done, 1 refused or failed, 2 wrong
// usage.

#include <exception>
#include <iostream>

#include "tools/hotspotctl_commands.h"

namespace {

constexpr int kRefused = 1;
constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Administers a running hotspot-manager."};
  hotspotctl::Context context;
  app.set_version_flag("--version", "hotspotctl " HOTSPOT_VERSION);
  app.add_option("--socket", context.socket, "the manager's administration socket")
      ->capture_default_str();
  app.add_flag("--json", context.json, "print JSON instead of tables");
  app.require_subcommand(1);
  // Both are taken behind the verb as well.
  app.fallthrough();
  hotspotctl::addUserVerbs(app, context);
  hotspotctl::addProfileVerbs(app, context);
  hotspotctl::addAdvertVerbs(app, context);
  hotspotctl::addSessionVerbs(app, context);
  hotspotctl::addCookieVerbs(app, context);
  hotspotctl::addServerVerbs(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::cerr << "hotspotctl: " << error.what() << "\nRun with --help for more information.\n";
    return kUsage;
  }
  try {
    hotspotctl::Client client(context.socket);
    context.run(client);
  } catch (const std::exception& error) {
    std::cerr << "hotspotctl: " << error.what() << '\n';
    return kRefused;
  }
  std::cout.flush();
  return std::cout ? 0 : kRefused;
}
