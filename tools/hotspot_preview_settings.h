// What a state of the preview is made of: the request and the manager's reply, as named settings
// with texts for values. The texts stand in the tables of states, in addresses and in the form that
// edits them.

#ifndef TOOLS_HOTSPOT_PREVIEW_SETTINGS_H_
#define TOOLS_HOTSPOT_PREVIEW_SETTINGS_H_

#include <cstdint>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/hotspot_replay_scenario.h"

namespace preview {

// A setting that does not exist or a value that it cannot have; what() says which and what to do.
class WrongSetting : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class SettingKind {
  kText,      // any text
  kNumber,    // a whole number, below 2^32 or 2^64 by the field
  kFlag,      // "yes" or "no"
  kHex,       // pairs of hexadecimal digits
  kAddress,   // a dotted IPv4 address
  kMethod,    // "GET" or "POST"
  kSecsAgo,   // seconds before now, on the clock of the manager
  kSecsLeft,  // seconds from now
};

struct Setting {
  std::string_view name;
  std::string_view label;
  std::string_view group;
  SettingKind kind;
  // What the value goes into: a field of the reply; a bit of one, where there is a mask; a
  // parameter of the request, where `parameter` is set; else the request, by the name.
  std::uint32_t field = 0;
  std::uint32_t mask = 0;
  bool parameter = false;
};

// In the order in which the form shows them.
std::span<const Setting> settings();
// Null when there is none.
const Setting* findSetting(std::string_view name);

// Values by the names of settings; one that is not there, or empty, leaves its field out.
using Values = std::map<std::string, std::string, std::less<>>;

std::string valueOf(const Values& values, std::string_view name);
bool isOn(const Values& values, std::string_view name);

// Longest value, in bytes.
constexpr std::size_t kMostValueBytes = 4096;

// Puts the values of a query ("username=b%26o&trial=yes") in the place of those in `*values`.
// Throws WrongSetting.
void edit(std::string_view query, Values* values);

// The request and the reply as the module gets them; pages come from `pageDirectory`, which ends
// with a slash. The request is for the state's own page. Throws WrongSetting.
replay::Scenario makeScenario(const Values& values, const std::string& pageDirectory);

// The path and query of the state's own page, as a browser asks for it: "/login?dst=...".
std::string ownTarget(const Values& values);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_SETTINGS_H_
