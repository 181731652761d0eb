#include "tools/hotspot_lint_output.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

using Json = nlohmann::ordered_json;

// File names are any bytes; JSON is UTF-8.
std::string dumped(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::size_t count(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<std::size_t>(std::ranges::count(findings, severity, &Finding::severity));
}

std::string counted(std::size_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// A path as the path of a URL (RFC 3986).
std::string asUri(const std::string& path) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  constexpr std::string_view kPlain = "-._~/";
  std::string uri;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                         (c >= 'A' && c <= 'Z') || kPlain.find(c) != std::string_view::npos;
    if (isPlain) {
      uri += c;
    } else {
      uri += '%';
      uri += kDigits[byte >> 4];
      uri += kDigits[byte & 15];
    }
  }
  return uri;
}

std::string padded(std::string_view text, std::size_t width) {
  std::string result(text);
  if (result.size() < width) result.append(width - result.size(), ' ');
  return result;
}

std::string_view kindName(pages::ValueKind kind) {
  static constexpr std::array<std::string_view, 10> kNames = {
      "yes-no",  "true-false", "number", "duration", "bytes",
      "address", "error-type", "octal",  "text",     "url"};
  static_assert(static_cast<std::size_t>(pages::ValueKind::kUrl) + 1 == kNames.size());
  return kNames[static_cast<std::size_t>(kind)];
}

std::string_view originName(pages::Origin origin) {
  return origin == pages::Origin::kClient    ? "client"
         : origin == pages::Origin::kManager ? "manager"
                                             : "module";
}

std::string pagesOf(const pages::PageVariable& variable) {
  if (variable.always == "*") return "every page";
  std::string text(variable.always);
  if (!variable.sometimes.empty()) text += "; sometimes " + std::string(variable.sometimes);
  return text;
}

}  // namespace

std::string asText(const std::string& directory, const std::vector<Finding>& findings,
                   bool colours) {
  const auto coloured = [&](std::string_view code, std::string_view text) {
    if (!colours) return std::string(text);
    return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
  };
  std::string text;
  for (const Finding& finding : findings) {
    const std::string_view code = finding.severity == Severity::kError     ? "1;31"
                                  : finding.severity == Severity::kWarning ? "1;35"
                                                                           : "1;36";
    const std::string place = directory + "/" + finding.file;
    std::string clean;  // of control characters: a file's name is anybody's text
    for (const char c : place) clean += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
    text += coloured("1", clean + ":" + std::to_string(finding.line) + ":" +
                              std::to_string(finding.column) + ":") +
            " " + coloured(code, std::string(severityName(finding.severity)) + ":") + " " +
            finding.message + " " +
            coloured("2", "[" + std::string(infoOf(finding.rule).id) + "]") + "\n";
  }
  text += counted(count(findings, Severity::kError), "error") + ", " +
          counted(count(findings, Severity::kWarning), "warning") + ", " +
          counted(count(findings, Severity::kNote), "note") + "\n";
  return text;
}

std::string asJson(const std::string& directory, const std::vector<Finding>& findings) {
  Json json;
  json["directory"] = directory;
  json["findings"] = Json::array();
  for (const Finding& finding : findings) {
    json["findings"].push_back({{"file", finding.file},
                                {"line", finding.line},
                                {"column", finding.column},
                                {"severity", severityName(finding.severity)},
                                {"rule", infoOf(finding.rule).id},
                                {"message", finding.message}});
  }
  json["errors"] = count(findings, Severity::kError);
  json["warnings"] = count(findings, Severity::kWarning);
  json["notes"] = count(findings, Severity::kNote);
  return dumped(json);
}

std::string asSarif(const std::string& directory, const std::vector<Finding>& findings) {
  Json driver = {{"name", "hotspot-lint"}, {"version", HOTSPOT_VERSION}, {"rules", Json::array()}};
  for (const RuleInfo& rule : rules()) {
    driver["rules"].push_back({{"id", rule.id},
                               {"shortDescription", {{"text", rule.what}}},
                               {"defaultConfiguration", {{"level", severityName(rule.severity)}}}});
  }
  Json results = Json::array();
  for (const Finding& finding : findings) {
    const Json location = {
        {"physicalLocation",
         {{"artifactLocation", {{"uri", asUri(finding.file)}, {"uriBaseId", "PAGES"}}},
          {"region", {{"startLine", finding.line}, {"startColumn", finding.column}}}}}};
    results.push_back({{"ruleId", infoOf(finding.rule).id},
                       {"ruleIndex", static_cast<std::size_t>(finding.rule)},
                       {"level", severityName(finding.severity)},
                       {"message", {{"text", finding.message}}},
                       {"locations", Json::array({location})}});
  }
  Json run;
  run["tool"]["driver"] = driver;
  run["columnKind"] = "unicodeCodePoints";
  run["originalUriBaseIds"]["PAGES"]["uri"] = "file://" + asUri(directory + "/");
  run["results"] = results;
  Json log;
  log["$schema"] =
      "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json";
  log["version"] = "2.1.0";
  log["runs"] = Json::array({run});
  return dumped(log);
}

std::string rulesAsText() {
  std::string text;
  for (const RuleInfo& rule : rules()) {
    text += padded(rule.id, 20) + padded(severityName(rule.severity), 9) + std::string(rule.what) +
            "\n";
  }
  return text;
}

std::string rulesAsJson() {
  Json json = Json::array();
  for (const RuleInfo& rule : rules()) {
    json.push_back(
        {{"rule", rule.id}, {"severity", severityName(rule.severity)}, {"what", rule.what}});
  }
  return dumped(json);
}

std::string variablesAsText() {
  std::string text;
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    text += padded(variable.name, 24) + std::string(variable.meaning);
    if (variable.always != "*") text += " (on " + pagesOf(variable) + ")";
    text += "\n";
  }
  return text;
}

std::string variablesAsJson() {
  Json json = Json::array();
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    json.push_back({{"name", variable.name},
                    {"topic", pages::topicName(variable.topic)},
                    {"kind", kindName(variable.kind)},
                    {"influencedBy", originName(variable.origin)},
                    {"canBeEmpty", variable.canBeEmpty},
                    {"always", variable.always},
                    {"sometimes", variable.sometimes},
                    {"meaning", variable.meaning}});
  }
  return dumped(json);
}

}  // namespace lint
