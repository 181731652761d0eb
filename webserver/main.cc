// hotspot-web: the web server of a hotspot.

#include <cstdio>
#include <exception>

#include "webserver/config.h"
#include "webserver/logging.h"
#include "webserver/supervisor.h"

int main(int argc, char** argv) {
  try {
    web::Config config;
    const settings::Result result = web::readConfig(argc, argv, &config);
    if (!result.run) return settings::finish(result);
    if (config.checkOnly) {
      web::checkSettings(config);
      std::puts("the settings are right");
      return 0;
    }
    web::startLogging(config.logLevel);
    web::Supervisor supervisor(
        config, [&](web::Config* again) { return web::readConfig(argc, argv, again); });
    return supervisor.run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hotspot-web: %s\n", error.what());
    return 1;
  }
}
