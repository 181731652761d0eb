// hotspotctl server ...

#include "tools/hotspotctl_commands.h"
#include "tools/hotspotctl_values.h"

namespace hotspotctl {

using Json = nlohmann::json;

void addServerVerbs(CLI::App& app, Context& context) {
  CLI::App* noun = addNoun(app, "server", "settings of the hotspot itself");
  const std::vector<const char*> columns = {"name", "value", "source"};

  CLI::App* show = noun->add_subcommand("show", "all settings, and where each comes from");
  context.tableVerb(show, "server.show", context.newArguments(), columns);

  CLI::App* set = noun->add_subcommand(
      "set", "change settings at once, and keep them over the settings file's");
  Json* values = context.newArguments();
  const auto takePairs = [values](const std::vector<std::string>& pairs) {
    for (const std::string& pair : pairs) {
      const std::size_t equals = pair.find('=');
      if (equals == std::string::npos || equals == 0) {
        throw CLI::ValidationError(pair, "must be a setting's name, \"=\" and its value");
      }
      (*values)[pair.substr(0, equals)] = pair.substr(equals + 1);
    }
  };
  set->add_option_function<std::vector<std::string>>("setting=value", takePairs,
                                                     "such as trial=yes")
      ->required();
  context.tableVerb(set, "server.set", values, columns);

  CLI::App* unset = noun->add_subcommand("unset", "go back to the settings file's value");
  Json* name = context.newArguments();
  addPositional(unset, name, "name", "name of the setting");
  context.tableVerb(unset, "server.unset", name, columns);
}

}  // namespace hotspotctl
