// hotspotctl session ... and cookie ...

#include "tools/hotspotctl_commands.h"
#include "tools/hotspotctl_values.h"

namespace hotspotctl {

using Json = nlohmann::json;

namespace {

// An address as the argument, or --user for all of an account's.
void addAddressOrUser(CLI::App* verb, Json* arguments) {
  CLI::Option* address = verb->add_option_function<std::string>(
      "address", [arguments](const std::string& text) { (*arguments)["address"] = text; },
      "address of the client");
  CLI::Option* user = verb->add_option_function<std::string>(
      "--user", [arguments](const std::string& text) { (*arguments)["user"] = text; },
      "all sessions of this account");
  address->excludes(user);
  verb->require_option(1);
}

}  // namespace

void addSessionVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "session", "clients that are logged in");

  CLI::App* list = noun->add_subcommand("list", "all sessions");
  Json* listed = context.newArguments();
  addText(list, listed, "user", "of this account alone");
  context.tableVerb(list, "session.list", listed,
                    {"address", "mac", "user", "login-by", "uptime", "time-left", "idle",
                     "bytes-in", "bytes-out", "state"});

  CLI::App* show = noun->add_subcommand("show", "one session");
  Json* shown = context.newArguments();
  addPositional(show, shown, "address", "address of the client");
  context.recordVerb(show, "session.show", shown);

  CLI::App* end = noun->add_subcommand("end", "log a client out");
  Json* ended = context.newArguments();
  addAddressOrUser(end, ended);
  context.recordVerb(end, "session.end", ended);

  CLI::App* report = noun->add_subcommand("report", "tell the traffic that a session has used");
  Json* reported = context.newArguments();
  addPositional(report, reported, "address", "address of the client");
  addQuantity(report, reported, "bytes-in", Units::kBytes, "from the client since the login");
  addQuantity(report, reported, "packets-in", Units::kNone, "from the client since the login");
  addQuantity(report, reported, "bytes-out", Units::kBytes, "to the client since the login");
  addQuantity(report, reported, "packets-out", Units::kNone, "to the client since the login");
  context.recordVerb(report, "session.report", reported);
}

void addCookieVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "cookie", "browsers that may log in without a password");

  CLI::App* list = noun->add_subcommand("list", "all cookies");
  context.tableVerb(list, "cookie.list", context.newArguments(),
                    {"id", "user", "client", "expires-in"});

  CLI::App* remove = noun->add_subcommand("remove", "forget a cookie, or all of an account");
  Json* removed = context.newArguments();
  CLI::Option* id = remove->add_option_function<std::uint32_t>(
      "id", [removed](std::uint32_t number) { (*removed)["id"] = number; }, "number of the cookie");
  CLI::Option* user = remove->add_option_function<std::string>(
      "--user", [removed](const std::string& text) { (*removed)["user"] = text; },
      "all cookies of this account");
  id->excludes(user);
  remove->require_option(1);
  context.recordVerb(remove, "cookie.remove", removed);
}

}  // namespace hotspotctl
