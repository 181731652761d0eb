// Values as a person types them.

#ifndef TOOLS_HOTSPOTCTL_VALUES_H_
#define TOOLS_HOTSPOTCTL_VALUES_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace hotspotctl {

// A number, and with `units` one of its letters behind it: "90", "30m", "10G". False, and `*value`
// untouched, for anything else and for what does not fit 63 bits.
enum class Units { kNone, kTime, kBytes };  // s m h d; K M G T (each 1024 of the one before)
bool parseQuantity(const std::string& text, Units units, std::uint64_t* value);

// Adds an option whose number goes into `(*arguments)[key]`; the option's name is the key with
// dashes.
void addQuantity(CLI::App* app, nlohmann::json* arguments, const std::string& key, Units units,
                 const std::string& what);

// The same for a text.
void addText(CLI::App* app, nlohmann::json* arguments, const std::string& key,
             const std::string& what);

// A required text without a dash in front.
void addPositional(CLI::App* app, nlohmann::json* arguments, const std::string& key,
                   const std::string& what);

}  // namespace hotspotctl

#endif  // TOOLS_HOTSPOTCTL_VALUES_H_
