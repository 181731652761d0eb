#include "webserver/config.h"

#include <arpa/inet.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <thread>

namespace web {
namespace {

constexpr const char* kDefaultFile = "/etc/hotspot/web.toml";
constexpr unsigned kMaxWorkers = 32;

// The module in the lib folder beside the program's own as built, or else in lib/hotspot as
// installed.
std::string defaultModule() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  std::string program(path, length > 0 ? static_cast<std::size_t>(length) : 0);
  program.erase(std::min(program.rfind('/'), program.size()));
  program.erase(std::min(program.rfind('/'), program.size()));
  const std::string built = program + "/lib/hotspot.so";
  return access(built.c_str(), F_OK) == 0 ? built : program + "/lib/hotspot/hotspot.so";
}

void declare(CLI::App& app, Config& config, std::vector<std::string>& listenTexts) {
  const CLI::Range secs(1, 3600);
  app.add_option("--listen", listenTexts,
                 "ADDRESS:PORT[,tls][,flags=0xHEX], may be repeated; [[listen]] in the file");
  app.add_option("--certificate", config.certificate, "certificate and its chain (PEM)");
  app.add_option("--key", config.key, "private key of the certificate (PEM)");
  app.add_option("--module", config.module, "servlet module to load")->capture_default_str();
  app.add_option("--manager-socket", config.managerSocket, "the hotspot manager's socket")
      ->capture_default_str();
  app.add_option("--server-names", config.serverNames, "host names that are this server's own");
  app.add_option("--html-dir", config.htmlDir,
                 "page directory while the manager cannot be asked for it");
  app.add_option("--dns-name", config.dnsName,
                 "host name of the portal, with a port that is not the usual one, for links while "
                 "the manager cannot be asked for it");
  app.add_option("--mount", config.mount, "path below which the servlet answers")
      ->capture_default_str();
  app.add_option("--user", config.user, "user that the worker processes become");
  app.add_option("--workers", config.workers, "worker processes; 0: one for each processor")
      ->check(CLI::Range(0u, kMaxWorkers))
      ->capture_default_str();
  app.add_option("--max-connections", config.maxConnections, "connections at once, in all")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  app.add_option("--max-connections-per-client", config.maxConnectionsPerClient,
                 "connections at once from one address")
      ->check(CLI::Range(1, 1000000))
      ->capture_default_str();
  app.add_option("--max-waiting", config.maxWaiting,
                 "requests that may wait for the manager at once, in all")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  app.add_option("--header-timeout", config.headerTimeoutSecs, "seconds to send a request's header")
      ->check(secs)
      ->capture_default_str();
  app.add_option("--body-timeout", config.bodyTimeoutSecs, "seconds to send a request's body")
      ->check(secs)
      ->capture_default_str();
  app.add_option("--idle-timeout", config.idleTimeoutSecs, "seconds between two requests")
      ->check(secs)
      ->capture_default_str();
  app.add_option("--write-timeout", config.writeTimeoutSecs,
                 "seconds that an answer may stand still")
      ->check(secs)
      ->capture_default_str();
  app.add_option("--stop-timeout", config.stopTimeoutSecs,
                 "seconds to finish what is in flight when stopped")
      ->check(secs)
      ->capture_default_str();
  app.add_option("--access-log", config.accessLog,
                 "file for a line a request; \"-\": standard output, \"\": none")
      ->capture_default_str();
  app.add_option("--log-level", config.logLevel, "least level of the log on standard error")
      ->check(CLI::IsMember({"debug", "info", "warn", "error"}))
      ->capture_default_str();
  app.add_flag("--debug", config.debug, "write the module's debug lines to standard error");
  app.add_flag("--check-config", config.checkOnly, "say whether the settings are right, and end")
      ->group(settings::kCommandLineOnly);
}

void declareListen(CLI::App& app, ListenConfig& listen) {
  app.add_option("--address", listen.address);
  app.add_option("--port", listen.port)->check(CLI::Range(0, 65535))->required();
  app.add_flag("--tls", listen.tls);
  app.add_option("--flags", listen.flags);
}

// "127.0.0.1:8080,tls,flags=0x01000000".
ListenConfig parseListen(const std::string& text, const std::string& where) {
  const auto wrong = [&](const std::string& why) {
    return ConfigError(where + ": " + text + ": " + why +
                       "; write ADDRESS:PORT[,tls][,flags=0xHEX]");
  };
  ListenConfig listen;
  listen.where = where;
  std::size_t comma = std::min(text.find(','), text.size());
  const std::string endpoint = text.substr(0, comma);
  const std::size_t colon = endpoint.rfind(':');
  if (colon == std::string::npos) throw wrong("the port is missing");
  listen.address = endpoint.substr(0, colon);
  const std::string port = endpoint.substr(colon + 1);
  char* end = nullptr;
  const unsigned long number = std::strtoul(port.c_str(), &end, 10);
  if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos || *end != '\0' ||
      number > 65535) {
    throw wrong("the port is not a number from 0 to 65535");
  }
  listen.port = static_cast<unsigned>(number);
  while (comma < text.size()) {
    const std::size_t next = std::min(text.find(',', comma + 1), text.size());
    const std::string word = text.substr(comma + 1, next - comma - 1);
    comma = next;
    if (word == "tls") {
      listen.tls = true;
    } else if (word.compare(0, 8, "flags=0x") == 0 && word.size() > 8 && word.size() <= 16 &&
               word.find_first_not_of("0123456789abcdefABCDEF", 8) == std::string::npos) {
      listen.flags = static_cast<std::uint32_t>(std::strtoul(word.c_str() + 6, nullptr, 16));
    } else {
      throw wrong("\"" + word + "\" means nothing here");
    }
  }
  return listen;
}

void finishConfig(Config& config) {
  if (config.listen.empty()) config.listen.push_back({"127.0.0.1", 8080, false, 0, "listen"});
  for (const ListenConfig& listen : config.listen) {
    in_addr address{};
    if (inet_pton(AF_INET, listen.address.c_str(), &address) != 1) {
      throw ConfigError(listen.where + ": address: \"" + listen.address +
                        "\" is no IPv4 address such as 127.0.0.1");
    }
    for (const char* key : {"certificate", "key"}) {
      if (listen.tls && (key[0] == 'c' ? config.certificate : config.key).empty()) {
        throw ConfigError(listen.where + ": tls needs a certificate and its key: set " + key);
      }
    }
  }
  if (config.mount.empty() || config.mount.front() != '/') {
    throw ConfigError(config.where("mount") + ": has to begin with \"/\"");
  }
  const std::size_t longest = sizeof sockaddr_un{}.sun_path - 1;
  if (config.managerSocket.empty() || config.managerSocket.front() != '/' ||
      config.managerSocket.size() > longest) {
    throw ConfigError(config.where("manager-socket") + ": has to be an absolute path of at most " +
                      std::to_string(longest) + " bytes");
  }
  // The workers serve it wherever the program was started.
  if (!config.htmlDir.empty() && config.htmlDir.front() != '/') {
    throw ConfigError(config.where("html-dir") + ": has to be an absolute path");
  }
  if (!config.htmlDir.empty() && config.htmlDir.back() != '/') config.htmlDir += '/';
  while (config.mount.size() > 1 && config.mount.back() == '/') config.mount.pop_back();
  if (config.workers == 0) {
    config.workers = std::clamp(std::thread::hardware_concurrency(), 1u, kMaxWorkers);
  }
}

}  // namespace

settings::Result readConfig(int argc, const char* const* argv, Config* config) {
  CLI::App app("hotspot-web: serves a hotspot's pages through its servlet module");
  app.set_version_flag("--version", "hotspot-web " HOTSPOT_VERSION);
  config->module = defaultModule();
  std::vector<std::string> listenTexts;
  std::deque<ListenConfig> blocks;
  declare(app, *config, listenTexts);
  const settings::Blocks listenBlocks{"listen", [&](CLI::App& block, unsigned line) {
                                        ListenConfig& listen = blocks.emplace_back();
                                        listen.where = std::to_string(line);
                                        declareListen(block, listen);
                                      }};
  settings::Result result = settings::parse(app, argc, argv, kDefaultFile, {listenBlocks});
  if (!result.run) return result;
  config->origin = result;
  try {
    for (const std::string& text : listenTexts) {
      config->listen.push_back(parseListen(text, result.where("listen")));
    }
    if (listenTexts.empty()) {
      for (ListenConfig& block : blocks) {
        block.where = result.file + ":" + block.where + ": [[listen]]";
      }
      config->listen = blocks;
    }
    finishConfig(*config);
  } catch (const ConfigError& error) {
    result.run = false;
    result.exitCode = 1;
    result.text = settings::oneLine(error.what());
  }
  return result;
}

}  // namespace web
