// What --sarif writes against the schema of SARIF 2.1.0 (OASIS standard, sections 3.13 to 3.51):
// the objects that the linter writes with all that the schema allows in them of what it writes,
// what it requires, and the ranges and words of values. The schema allows no other properties than
// it names, and so does this table.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/lint/lint_run.h"
#include "tools/hotspot_lint.h"

namespace {

using Json = nlohmann::json;

// Of each object: "required", and its properties by type. A type is an object's name, "NAME[]" for
// an array, "NAME{}" for an object with names of its own, "text", "uri", "reference" (RFC 3986,
// without a scheme too), "integer >= N", or a list of words.
const Json kSchema = Json::parse(R"({
  "log": {"required": ["version", "runs"],
          "$schema": "uri", "version": ["2.1.0"], "runs": "run[]"},
  "run": {"required": ["tool"],
          "tool": "tool", "columnKind": ["utf16CodeUnits", "unicodeCodePoints"],
          "originalUriBaseIds": "artifactLocation{}", "results": "result[]"},
  "tool": {"required": ["driver"], "driver": "toolComponent"},
  "toolComponent": {"required": ["name"],
          "name": "text", "version": "text", "rules": "reportingDescriptor[]"},
  "reportingDescriptor": {"required": ["id"],
          "id": "text", "shortDescription": "multiformatMessageString",
          "defaultConfiguration": "reportingConfiguration"},
  "multiformatMessageString": {"required": ["text"], "text": "text"},
  "reportingConfiguration": {"required": [], "level": ["none", "note", "warning", "error"]},
  "result": {"required": ["message"],
          "ruleId": "text", "ruleIndex": "integer >= -1", "level": ["none", "note", "warning", "error"],
          "message": "message", "locations": "location[]"},
  "message": {"required": ["text"], "text": "text"},
  "location": {"required": [], "physicalLocation": "physicalLocation"},
  "physicalLocation": {"required": ["artifactLocation"],
          "artifactLocation": "artifactLocation", "region": "region"},
  "artifactLocation": {"required": [], "uri": "reference", "uriBaseId": "text"},
  "region": {"required": [], "startLine": "integer >= 1", "startColumn": "integer >= 1"}
})");

bool isReference(const std::string& text) {
  constexpr std::string_view kAllowed = "-._~:/?#[]@!$&'()*+,;=%";
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (std::isalnum(byte) == 0 && kAllowed.find(text[at]) == std::string_view::npos) return false;
    const auto isDigit = [&](std::size_t i) {
      return i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    };
    if (byte == '%' && !(isDigit(at + 1) && isDigit(at + 2))) return false;
  }
  return true;
}

using Problems = std::vector<std::string>;

void complain(const std::string& place, const std::string& what, Problems* problems) {
  problems->push_back(place + ": " + what);
}

std::string within(const std::string& place, const std::string& key) { return place + "/" + key; }

void checkObject(const std::string& name, const Json& value, const std::string& place,
                 Problems* problems);

void checkValue(const Json& type, const Json& value, const std::string& place, Problems* problems) {
  const auto expect = [&](bool holds, const std::string& what) {
    if (!holds) complain(place, what + ": " + value.dump(), problems);
  };
  if (type.is_array()) {
    return expect(std::ranges::find(type, value) != type.end(), "another word");
  }
  const std::string name = type;
  if (name.ends_with("[]") || name.ends_with("{}")) {
    const bool isArray = name.ends_with("[]");
    if (isArray ? !value.is_array() : !value.is_object()) return expect(false, "another type");
    for (const auto& [key, item] : value.items()) {
      checkObject(name.substr(0, name.size() - 2), item, within(place, key), problems);
    }
  } else if (name == "text") {
    expect(value.is_string() && !value.get<std::string>().empty(), "no text");
  } else if (name == "uri" || name == "reference") {
    expect(value.is_string() && isReference(value.get<std::string>()), "no address");
    expect(name == "reference" || value.get<std::string>().find("://") != std::string::npos,
           "no whole address");
  } else if (name.starts_with("integer >= ")) {
    expect(value.is_number_integer() && value >= std::stoi(name.substr(11)), "no such number");
  } else {
    checkObject(name, value, place, problems);
  }
}

void checkObject(const std::string& name, const Json& value, const std::string& place,
                 Problems* problems) {
  const Json& schema = kSchema.at(name);
  if (!value.is_object()) return complain(place, "no object", problems);
  for (const std::string required : schema["required"]) {
    if (!value.contains(required)) complain(place, "has no " + required, problems);
  }
  for (const auto& [key, item] : value.items()) {
    if (key == "required" || !schema.contains(key)) {
      complain(place, key + " is none of its properties", problems);
    } else {
      checkValue(schema[key], item, within(place, key), problems);
    }
  }
}

Problems problemsOf(const Json& log) {
  Problems problems;
  checkObject("log", log, "", &problems);
  return problems;
}

// The log of a directory; it has to be JSON.
Json logOf(const std::string& directory) {
  return Json::parse(runLint({directory, "--sarif"}).out);
}

const Problems kNone;

TEST(Sarif, EveryFindingOfEveryRuleFitsTheSchema) {
  for (const lint::RuleInfo& rule : lint::rules()) {
    const Example bad(std::string(rule.id), "bad");
    const Json log = logOf(bad.path());
    EXPECT_EQ(problemsOf(log), kNone) << rule.id;
    const Json& results = log["runs"][0]["results"];
    EXPECT_TRUE(std::ranges::any_of(results, [&](const Json& result) {
      return result["ruleId"] == rule.id;
    })) << rule.id;
  }
}

TEST(Sarif, ResultsNameRuleLevelAndPlace) {
  const ScratchDir scratch;
  scratch.write("a b/\xc3\xa9.html", "<p title=\"$(username)\">");
  const Ended ended = runLint({scratch.path(), "--sarif"});
  EXPECT_EQ(ended.status, 1);
  const Json run = Json::parse(ended.out)["runs"][0];
  const Json& driver = run["tool"]["driver"];
  EXPECT_EQ(driver["name"], "hotspot-lint");
  ASSERT_EQ(driver["rules"].size(), lint::rules().size());
  EXPECT_EQ(run["columnKind"], "unicodeCodePoints");
  std::size_t unescaped = 0;
  for (const Json& result : run["results"]) {
    const Json& rule = driver["rules"][result["ruleIndex"].get<std::size_t>()];
    EXPECT_EQ(rule["id"], result["ruleId"]);
    ASSERT_EQ(result["locations"].size(), 1u);
    if (result["ruleId"] != "unescaped") continue;
    ++unescaped;
    EXPECT_EQ(result["level"], "error");
    const Json& place = result["locations"][0]["physicalLocation"];
    EXPECT_EQ(place["artifactLocation"],
              Json({{"uri", "a%20b/%C3%A9.html"}, {"uriBaseId", "PAGES"}}));
    EXPECT_EQ(place["region"], Json({{"startLine", 1}, {"startColumn", 11}}));
  }
  EXPECT_EQ(unescaped, 1u);
}

TEST(Sarif, NamesOfAnyBytesFitTheSchema) {
  const ScratchDir scratch;
  for (const char* const name :
       {"a b.html", "100%.html", "\xff\xc3.html", "caf\u00e9.html", "a\n\x1b.html", "#?:.html"}) {
    scratch.write(std::string("d\"<>\\^`{|}/") + name, "<p title=\"$(username)\">$(nosuch)\x01");
  }
  EXPECT_EQ(problemsOf(logOf(scratch.path() / "d\"<>\\^`{|}")), kNone);
  EXPECT_EQ(problemsOf(logOf(scratch.path())), kNone);
}

TEST(Sarif, DirectoryWithoutFindingsIsARunWithoutResults) {
  const Example whole("fallback", "good");
  const Json log = logOf(whole.path());
  EXPECT_EQ(problemsOf(log), kNone);
  EXPECT_EQ(log["runs"][0]["results"], Json::array()) << "not absent: the run took place";
}

// The base of relative addresses is a whole one that ends with a slash (3.14.14), however the
// directory is named.
TEST(Sarif, PlacesAreRelativeToTheDirectory) {
  const Example bad("unescaped", "bad");
  for (const std::string& directory :
       {bad.path().string(), bad.path().string() + "/",
        bad.path().string() + "/../" + bad.path().filename().string(),
        std::filesystem::relative(bad.path()).string()}) {
    const Json log = logOf(directory);
    EXPECT_EQ(problemsOf(log), kNone);
    EXPECT_EQ(log["runs"][0]["originalUriBaseIds"]["PAGES"]["uri"],
              "file://" + bad.path().string() + "/");
    for (const Json& result : log["runs"][0]["results"]) {
      EXPECT_FALSE(result["locations"][0]["physicalLocation"]["artifactLocation"]["uri"]
                       .get<std::string>()
                       .starts_with("/"));
    }
  }
}

TEST(Sarif, WhatDoesNotFitWouldBeSeen) {
  const Example bad("unescaped", "bad");
  const Json log = logOf(bad.path());
  const auto changed = [&](const char* place, const Json& value) {
    Json other = log;
    other[Json::json_pointer(place)] = value;
    return problemsOf(other).size();
  };
  ASSERT_EQ(problemsOf(log).size(), 0u);
  const std::string first = "/runs/0/results/0";
  EXPECT_EQ(changed("/version", "2.2"), 1u);
  EXPECT_EQ(changed("/run", 1), 1u);
  EXPECT_EQ(changed("/runs/0/tool/driver", Json::object()), 1u);
  EXPECT_EQ(changed((first + "/level").c_str(), "fatal"), 1u);
  EXPECT_EQ(changed((first + "/message").c_str(), "text"), 1u);
  EXPECT_EQ(changed((first + "/ruleIndex").c_str(), -2), 1u);
  EXPECT_EQ(changed((first + "/locations/0/physicalLocation/region/startLine").c_str(), 0), 1u);
  EXPECT_EQ(changed((first + "/locations/0/physicalLocation/artifactLocation/uri").c_str(), "a b"),
            1u);
  EXPECT_EQ(changed("/$schema", "sarif.json"), 1u);
}

}  // namespace
