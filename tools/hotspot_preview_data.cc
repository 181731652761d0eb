#include "tools/hotspot_preview_data.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "tools/hotspot_lint.h"
#include "tools/hotspot_lint_files.h"
#include "tools/page_names.h"
#include "tools/page_variables.h"

namespace preview {
namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

constexpr std::array<std::string_view, 8> kSettingKinds = {"text",    "number", "flag", "hex",
                                                           "address", "method", "ago",  "left"};
static_assert(static_cast<std::size_t>(SettingKind::kSecsLeft) + 1 == kSettingKinds.size());

// Of each topic, in its order.
constexpr std::array<std::string_view, 6> kHeadings = {"The hotspot", "Links",  "Guest and session",
                                                       "Traffic",     "Errors", "Log-in page"};
static_assert(static_cast<std::size_t>(pages::Topic::kLogin) + 1 == kHeadings.size());

Json stateJson(const State& state) {
  return {
      {"name", state.name}, {"group", state.group}, {"title", state.title}, {"page", state.page}};
}

}  // namespace

std::string galleryData(const std::filesystem::path& directory, std::uint64_t version,
                        const std::string& problem, const std::vector<State>& states,
                        const std::vector<std::string>& languages) {
  Json json;
  json["directory"] = directory.string();
  json["version"] = version;
  json["problem"] = problem;
  json["languages"] = languages;
  json["states"] = Json::array();
  for (const State& state : states) json["states"].push_back(stateJson(state));
  json["settings"] = Json::array();
  for (const Setting& setting : settings()) {
    json["settings"].push_back({{"name", setting.name},
                                {"label", setting.label},
                                {"group", setting.group},
                                {"kind", kSettingKinds[static_cast<std::size_t>(setting.kind)]}});
  }
  return dumped(json);
}

std::string statesData(const std::vector<State>& states) {
  Json json = Json::array();
  for (const State& state : states) json.push_back(stateJson(state));
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string stateData(const StateData& data) {
  Json json = stateJson(*data.state);
  json["frame"] = data.frame;
  json["shown"] = data.variables.page;
  json["file"] = data.file;
  json["status"] = data.answer.status;
  json["contentType"] = data.answer.contentType;
  json["location"] = data.answer.location;
  json["bytes"] = data.answer.body.size();
  json["values"] = Json::object();
  json["usual"] = Json::object();
  for (const Setting& setting : settings()) {
    const std::string name(setting.name);
    json["values"][name] = valueOf(data.values, name);
    json["usual"][name] = valueOf(data.state->values, name);
  }
  json["variables"] = Json::array();
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    const auto value = data.variables.values.find(variable.name);
    if (value == data.variables.values.end()) continue;
    json["variables"].push_back({{"name", variable.name},
                                 {"group", kHeadings[static_cast<std::size_t>(variable.topic)]},
                                 {"value", value->second},
                                 {"meaning", variable.meaning}});
  }
  return dumped(json);
}

std::string findingsData(const std::filesystem::path& directory) {
  Json json;
  json["findings"] = Json::array();
  try {
    for (const lint::Finding& finding : lint::lintDirectory(directory)) {
      json["findings"].push_back({{"file", finding.file},
                                  {"line", finding.line},
                                  {"column", finding.column},
                                  {"severity", lint::severityName(finding.severity)},
                                  {"rule", lint::infoOf(finding.rule).id},
                                  {"message", finding.message}});
    }
  } catch (const lint::CannotRead& error) {
    json["error"] = error.what();
  }
  return dumped(json);
}

}  // namespace preview
