// hotspotctl profile ...

#include "tools/hotspotctl_commands.h"
#include "tools/hotspotctl_values.h"

namespace hotspotctl {

using Json = nlohmann::json;

namespace {

void addRules(CLI::App* verb, Json* arguments) {
  addQuantity(verb, arguments, "session-time", Units::kTime, "longest session; 0 = any");
  addQuantity(verb, arguments, "idle-timeout", Units::kTime, "idle time that ends a session");
  addQuantity(verb, arguments, "limit-bytes-in", Units::kBytes, "bytes from the client a session");
  addQuantity(verb, arguments, "limit-bytes-out", Units::kBytes, "bytes to the client a session");
  addQuantity(verb, arguments, "limit-bytes-total", Units::kBytes, "bytes in both directions");
  addQuantity(verb, arguments, "shared-users", Units::kNone, "sessions of an account at once");
  addQuantity(verb, arguments, "status-refresh", Units::kTime, "refresh of the status page");
  addAdvertOptions(verb, arguments);
}

}  // namespace

void addProfileVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "profile", "rules that accounts share, advertisements included");

  const auto addVerb = [&](const char* name, const char* what, bool hasRules) {
    CLI::App* verb = noun->add_subcommand(name, what);
    Json* arguments = context.newArguments();
    addPositional(verb, arguments, "name", "name of the profile");
    if (hasRules) addRules(verb, arguments);
    context.recordVerb(verb, std::string("profile.") + name, arguments);
  };
  addVerb("add", "make a profile", true);
  addVerb("set", "change a profile; running sessions keep their limits", true);
  addVerb("remove", "remove a profile that no account uses", false);
  addVerb("show", "one profile", false);

  CLI::App* list = noun->add_subcommand("list", "all profiles");
  context.tableVerb(
      list, "profile.list", context.newArguments(),
      {"name", "session-time", "idle-timeout", "shared-users", "status-refresh", "limit-bytes-in",
       "limit-bytes-out", "limit-bytes-total", "advert-interval", "advert-look-time"});
}

}  // namespace hotspotctl
