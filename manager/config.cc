#include "manager/config.h"

#include <grp.h>

#include <charconv>
#include <stdexcept>

namespace manager {

namespace {

// A session for each address of a network of /8.
constexpr std::size_t kMostSessions = std::size_t{1} << 24;

constexpr const char* kDefaultFile = "/etc/hotspot/manager.toml";

// Accepts what the setting itself accepts, so that file and administrator are told the same.
CLI::Validator fits(const std::string& name) {
  return CLI::Validator(
      [name](std::string& text) {
        ServerSettings settings;
        std::string why;
        return setServerSetting(&settings, name, text, &why) ? std::string() : why;
      },
      "");
}

// Anything else would depend on where the program was started; an empty database is SQLite's name
// for one that is gone at the end.
CLI::Validator isAbsolute() {
  return CLI::Validator(
      [](std::string& text) {
        return !text.empty() && text.front() == '/' ? std::string()
                                                    : "must be an absolute path, beginning with /";
      },
      "");
}

CLI::Validator isGroup() {
  return CLI::Validator(
      [](std::string& text) {
        try {
          groupId(text);
          return std::string();
        } catch (const std::runtime_error& error) {
          return std::string(error.what());
        }
      },
      "");
}

void addServerOptions(CLI::App& app, ServerSettings* server) {
  const auto text = [&app](const std::string& name, std::string* value, const char* what) {
    app.add_option("--" + name, *value, what)->check(fits(name))->capture_default_str();
  };
  text("html-dir", &server->htmlDir, "directory of the portal's pages");
  text("dns-name", &server->dnsName, "host name of the portal, for its links");
  text("server-name", &server->serverName, "name of the hotspot, shown on pages");
  text("server-address", &server->serverAddress, "address of the portal; default: as reached");
  text("interface", &server->interfaceName, "name of the interface, shown on pages");
  text("location-id", &server->locationId, "id of the location, shown on pages");
  text("location-name", &server->locationName, "name of the location, shown on pages");
  app.add_flag("--trial", server->trial, "offer trial logins");
  app.add_flag("--plain-passwd", server->plainPasswd, "take plain passwords without HTTPS");
  app.add_flag("--ssl-login", server->sslLogin, "send clients to the login page over HTTPS");
  app.add_option("--cookie-lifetime", server->cookieLifetimeSecs,
                 "seconds for which a browser may log in again by its cookie; 0 = never")
      ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{0xffffffff}))
      ->capture_default_str();
}

}  // namespace

settings::Result readConfig(int argc, const char* const* argv, Config* config) {
  CLI::App app{"Keeps the hotspot's users and sessions and answers the portal's commands."};
  app.set_version_flag("--version", "hotspot-manager " HOTSPOT_VERSION);
  app.add_option("--socket", config->socket, "socket for the portal")
      ->check(isAbsolute())
      ->capture_default_str();
  app.add_option("--admin-socket", config->adminSocket, "socket for hotspotctl")
      ->check(isAbsolute())
      ->capture_default_str();
  app.add_option("--database", config->database, "database file")
      ->check(isAbsolute())
      ->capture_default_str();
  app.add_option("--group", config->group, "group that may use the portal's socket")
      ->check(isGroup());
  app.add_option("--admin-group", config->adminGroup, "group that may use hotspotctl's socket")
      ->check(isGroup());
  app.add_option("--neighbour-table", config->neighbourTable,
                 "table of hardware addresses, in the form of /proc/net/arp")
      ->check(isAbsolute())
      ->capture_default_str();
  app.add_option("--guesses-per-minute", config->guessesPerMinute,
                 "wrong passwords that a client may try in a minute; 0 = any number")
      ->check(CLI::Range(0u, 100000u))
      ->capture_default_str();
  app.add_option("--max-sessions", config->maxSessions, "sessions at once; each takes about 1.1 KB")
      ->check(CLI::Range(std::size_t{1}, kMostSessions))
      ->capture_default_str();
  app.add_option("--log-level", config->logLevel, "debug, info, warn or error")
      ->check(CLI::IsMember({"debug", "info", "warn", "error"}))
      ->capture_default_str();
  addServerOptions(app, &config->server);
  app.add_flag("--check-config", config->checkOnly, "check the settings and end")
      ->group(settings::kCommandLineOnly);
  settings::Result result = settings::parse(app, argc, argv, kDefaultFile);
  if (result.run && config->socket == config->adminSocket) {
    result.run = false;
    result.exitCode = 1;
    result.text = result.where("admin-socket") + ": must be another path than socket";
  }
  std::string& pages = config->server.htmlDir;
  if (pages.empty() || pages.back() != '/') pages += '/';
  return result;
}

std::optional<gid_t> groupId(const std::string& name) {
  if (name.empty()) return std::nullopt;
  gid_t id = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
  if (error == std::errc() && end == name.data() + name.size()) return id;
  if (const group* found = getgrnam(name.c_str())) return found->gr_gid;
  throw std::runtime_error("there is no group \"" + name + "\"");
}

}  // namespace manager
