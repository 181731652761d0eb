// The command line's nouns. Each function adds one noun with its verbs to the program.

#ifndef TOOLS_HOTSPOTCTL_COMMANDS_H_
#define TOOLS_HOTSPOTCTL_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/hotspotctl_client.h"

namespace hotspotctl {

// What the verbs share. Lives as long as the CLI::App.
struct Context {
  std::string socket = "/run/hotspot/admin.sock";
  bool json = false;

  // Arguments of each verb; a deque, so that they stay where they are.
  std::deque<nlohmann::json> arguments;
  // What the chosen verb does.
  std::function<void(Client&)> run;

  nlohmann::json* newArguments();

  // What a verb runs when it is chosen: ask, and print the record that comes back.
  void recordVerb(CLI::App* verb, const std::string& name, nlohmann::json* arguments);
  // Ask for all rows, and print them as a table.
  void tableVerb(CLI::App* verb, const std::string& name, nlohmann::json* arguments,
                 const std::vector<const char*>& columns);

  void showRecord(const nlohmann::json& record) const;
  void showRows(const nlohmann::json& rows, const std::vector<const char*>& columns) const;
};

// The options by which a verb sets a profile's advertisements.
void addAdvertOptions(CLI::App* verb, nlohmann::json* arguments);

// A noun's sub-program, which wants one of its verbs.
CLI::App* addNoun(CLI::App& app, const char* name, const char* what);

void addUserVerbs(CLI::App& app, Context& context);
void addProfileVerbs(CLI::App& app, Context& context);
void addAdvertVerbs(CLI::App& app, Context& context);
void addSessionVerbs(CLI::App& app, Context& context);
void addCookieVerbs(CLI::App& app, Context& context);
void addServerVerbs(CLI::App& app, Context& context);

}  // namespace hotspotctl

#endif  // TOOLS_HOTSPOTCTL_COMMANDS_H_
