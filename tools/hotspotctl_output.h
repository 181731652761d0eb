// Results for a person: tables and records.

#ifndef TOOLS_HOTSPOTCTL_OUTPUT_H_
#define TOOLS_HOTSPOTCTL_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <ostream>
#include <vector>

namespace hotspotctl {

// An array of objects as a table of the named columns, which are its heading; "-" where a row has
// none.
void printTable(std::ostream& out, const nlohmann::json& rows,
                const std::vector<const char*>& columns);

// An object, a "name: value" line each.
void printRecord(std::ostream& out, const nlohmann::json& record);

}  // namespace hotspotctl

#endif  // TOOLS_HOTSPOTCTL_OUTPUT_H_
