#include "tools/hotspotctl_commands.h"

#include <iostream>

#include "tools/hotspotctl_output.h"

namespace hotspotctl {

using Json = nlohmann::json;

CLI::App* addNoun(CLI::App& app, const char* name, const char* what) {
  CLI::App* noun = app.add_subcommand(name, what);
  noun->require_subcommand(1);
  return noun;
}

Json* Context::newArguments() {
  arguments.push_back(Json::object());
  return &arguments.back();
}

void Context::showRecord(const Json& record) const {
  if (json) {
    std::cout << record.dump(2) << '\n';
  } else {
    printRecord(std::cout, record);
  }
}

void Context::showRows(const Json& rows, const std::vector<const char*>& columns) const {
  if (json) {
    std::cout << rows.dump(2) << '\n';
  } else {
    printTable(std::cout, rows, columns);
  }
}

void Context::recordVerb(CLI::App* verb, const std::string& name, Json* verbArguments) {
  verb->callback([this, name, verbArguments] {
    run = [this, name, verbArguments](Client& client) {
      showRecord(client.ask(name, *verbArguments));
    };
  });
}

void Context::tableVerb(CLI::App* verb, const std::string& name, Json* verbArguments,
                        const std::vector<const char*>& columns) {
  verb->callback([this, name, verbArguments, columns] {
    run = [this, name, verbArguments, columns](Client& client) {
      showRows(client.askRows(name, *verbArguments), columns);
    };
  });
}

}  // namespace hotspotctl
