// What the hotspot says of itself and allows everybody: the settings that can change while it runs.
// The settings file gives their first values; a value set by the administrator is kept in the store
// and wins.

#ifndef MANAGER_SERVER_SETTINGS_H_
#define MANAGER_SERVER_SETTINGS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace manager {

struct ServerSettings {
  std::string htmlDir = "/usr/share/hotspot/pages/";  // ends in a slash
  std::string dnsName;
  std::string serverName;
  std::string serverAddress;  // dotted, or empty: the address that the client reached
  std::string interfaceName;
  std::string locationId;
  std::string locationName;
  bool trial = false;                         // trial logins are offered
  bool plainPasswd = false;                   // passwords may come in plain text without HTTPS
  bool sslLogin = false;                      // the login page is to be reached over HTTPS
  std::uint64_t cookieLifetimeSecs = 259200;  // 0 = no cookies
};

// Names as in the settings file: "html-dir", "trial", ... in the order in which they are shown.
const std::vector<std::string>& serverSettingNames();

// Sets one setting from its text ("yes" or "no" for a switch, decimal for a number). False, and
// nothing changed, when there is no such name or the text does not fit; `*why` then says what
// would.
bool setServerSetting(ServerSettings* settings, const std::string& name, const std::string& text,
                      std::string* why);

// The text of one setting, as setServerSetting takes it. REQUIRES: the name exists.
std::string serverSettingText(const ServerSettings& settings, const std::string& name);

// `base` with the kept values over it. Kept values that no longer fit are skipped; their names go
// to
// `*skipped`.
ServerSettings overlay(const ServerSettings& base, const std::map<std::string, std::string>& kept,
                       std::vector<std::string>* skipped);

}  // namespace manager

#endif  // MANAGER_SERVER_SETTINGS_H_
