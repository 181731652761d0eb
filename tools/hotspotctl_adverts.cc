// hotspotctl advert ...: the part of a profile that is about advertisements.

#include "tools/hotspotctl_commands.h"
#include "tools/hotspotctl_values.h"

namespace hotspotctl {

using Json = nlohmann::json;

void addAdvertOptions(CLI::App* verb, Json* arguments) {
  addQuantity(verb, arguments, "advert-interval", Units::kTime, "time between advertisements");
  addQuantity(verb, arguments, "advert-look-time", Units::kTime,
              "time to look at one before the client is blocked");
  const auto takeUrls = [arguments](const std::vector<std::string>& urls) {
    (*arguments)["advert-urls"] = Json::array();
    for (const std::string& url : urls) {
      if (!url.empty()) (*arguments)["advert-urls"].push_back(url);
    }
  };
  verb->add_option_function<std::vector<std::string>>(
          "--advert-url", takeUrls,
          "address of an advertisement, several times for several; '' = none")
      ->expected(1, 32)
      ->take_all();
}

void addAdvertVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "advert", "advertisements, which come with a profile");

  CLI::App* list = noun->add_subcommand("list", "the advertisements of all profiles");
  context.tableVerb(list, "profile.list", context.newArguments(),
                    {"name", "advert-interval", "advert-look-time", "advert-urls"});

  CLI::App* set = noun->add_subcommand("set", "change a profile's advertisements");
  Json* changed = context.newArguments();
  addPositional(set, changed, "name", "name of the profile");
  addAdvertOptions(set, changed);
  context.recordVerb(set, "profile.set", changed);

  CLI::App* clear = noun->add_subcommand("clear", "show a profile's clients none any more");
  Json* cleared = context.newArguments();
  (*cleared)["advert-urls"] = Json::array();
  addPositional(clear, cleared, "name", "name of the profile");
  context.recordVerb(clear, "profile.set", cleared);
}

}  // namespace hotspotctl
