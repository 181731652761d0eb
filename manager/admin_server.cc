// The administrator's verbs for the hotspot's settings.

#include "manager/admin.h"
#include "manager/admin_arguments.h"
#include "manager/server_settings.h"

namespace manager {

using Json = nlohmann::json;

Json Admin::showServer(const Json& arguments) {
  onlyKeys(arguments, {});
  Json rows = Json::array();
  for (const std::string& name : serverSettingNames()) {
    const bool kept = ledger_.keptSettings().count(name) != 0;
    rows.push_back({{"name", name},
                    {"value", serverSettingText(ledger_.settings(), name)},
                    {"source", kept ? "store" : "configuration"}});
  }
  return rowsReply(std::move(rows), Json());
}

Json Admin::setServer(const Json& arguments) {
  if (arguments.empty()) throw AdminRefusal("name a setting and its value");
  ServerSettings checked = ledger_.settings();
  std::string why;
  for (const auto& [name, value] : arguments.items()) {
    if (!value.is_string()) throw AdminRefusal("\"" + name + "\" must be a text");
    if (!setServerSetting(&checked, name, value.get<std::string>(), &why)) {
      throw AdminRefusal(std::string(name).append(": ").append(why));
    }
  }
  for (const auto& [name, value] : arguments.items()) {
    ledger_.keepSetting(name, serverSettingText(checked, name));
  }
  return showServer(Json::object());
}

Json Admin::unsetServer(const Json& arguments) {
  onlyKeys(arguments, {"name"});
  const std::string name = textArgument(arguments, "name");
  if (ledger_.keptSettings().count(name) == 0) {
    throw AdminRefusal("the setting \"" + name + "\" is not kept in the store");
  }
  ledger_.dropSetting(name);
  return showServer(Json::object());
}

}  // namespace manager
