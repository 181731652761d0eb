#include "tools/hotspot_replay_scenario.h"

#include <algorithm>
#include <array>

#include "tools/hotspot_replay_keys.h"
#include "tools/hotspot_replay_module.h"

namespace replay {
namespace {

constexpr std::size_t kMaxHostNameBytes = 64;
constexpr std::array<std::string_view, 4> kFormats = {"%u", "unknown<0x%x>", "%x", "%08u"};

void parseCall(const Json& json, const Path& path, Scenario* scenario) {
  readArray(json, path);
  if (json.empty()) path.fail("must begin with a function's name");
  CallSpec call;
  const Path functionPath = path.element(0);
  call.function = readBytes(json[0], functionPath);
  const Formatter* formatter = findFormatter(call.function);
  if (formatter == nullptr) functionPath.fail("no such function");
  const bool takesFormat = formatter->argument == Formatter::kU32AndFormat;
  readArray(json, path, takesFormat ? 3 : 2);
  const Json& value = json[1];
  const Path valuePath = path.element(1);
  switch (formatter->argument) {
    case Formatter::kText:
    case Formatter::kTextReference:
      call.text = readBytes(value, valuePath);
      break;
    case Formatter::kU64:
      call.number = readU64(value, valuePath);
      break;
    case Formatter::kU32:
    case Formatter::kU32AndFormat:
      call.number = readU32(value, valuePath);
      break;
  }
  if (takesFormat) {
    call.format = readBytes(json[2], path.element(2));
    if (std::find(kFormats.begin(), kFormats.end(), call.format) == kFormats.end()) {
      path.element(2).fail("not one of the formats");
    }
  }
  scenario->call = call;
}

void parsePages(const Json& json, const Path& path, Scenario* scenario) {
  readObject(json, path);
  for (auto page = json.begin(); page != json.end(); ++page) {
    const Path pagePath = path.member(page.key());
    PageSpec spec;
    spec.name = readBytes(Json(page.key()), pagePath);
    if (spec.name.empty()) pagePath.fail("a page's name must not be empty");
    if (spec.name[0] == '/') pagePath.fail("a page's name must be relative");
    if (spec.name.find("..") != std::string::npos) pagePath.fail("a page's name must not hold ..");
    if (spec.name.find('\0') != std::string::npos) pagePath.fail("a page's name must not hold NUL");
    if (!page.value().is_null()) {
      if (!page.value().is_string()) pagePath.fail("must be a string or null");
      spec.content = readBytes(page.value(), pagePath);
    }
    scenario->pages.push_back(std::move(spec));
  }
}

void parseHostName(const Json& json, const Path& path, Scenario* scenario) {
  if (json.is_null()) {
    scenario->hostName.kind = HostNameSpec::kFails;
    return;
  }
  if (!json.is_string()) path.fail("must be a string or null");
  scenario->hostName = {HostNameSpec::kGiven, readBytes(json, path)};
  if (scenario->hostName.name.size() > kMaxHostNameBytes) path.fail("must be at most 64 bytes");
}

void parseReplies(const Json& json, const Path& path, Scenario* scenario) {
  readArray(json, path);
  for (std::size_t i = 0; i < json.size(); ++i) {
    scenario->replies.push_back(parseReply(json[i], path.element(i)));
  }
}

using ScenarioKey = Key<Scenario>;
constexpr ScenarioKey kScenarioKeys[] = {
    {"name",
     [](const Json& value, const Path& path, Scenario* scenario) {
       if (!value.is_string()) path.fail("must be a string");
       scenario->name = value.get<std::string>();
     }},
    {"call", parseCall},
    {"request", [](const Json& value, const Path& path,
                   Scenario* scenario) { scenario->request = parseRequest(value, path); }},
    {"replies", parseReplies},
    {"pages", parsePages},
    {"uptime", [](const Json& value, const Path& path,
                  Scenario* scenario) { scenario->uptime = readU32(value, path); }},
    {"hostname", parseHostName},
    {"debug", [](const Json& value, const Path& path,
                 Scenario* scenario) { scenario->debug = readBool(value, path); }},
    {"debugSwitch", [](const Json& value, const Path& path,
                       Scenario* scenario) { scenario->debugSwitch = readBool(value, path); }},
};

}  // namespace

Json nameOf(const Json& json) {
  if (!json.is_object()) return nullptr;
  const auto name = json.find("name");
  if (name == json.end()) return "";
  if (!name->is_string()) return nullptr;
  return *name;
}

Scenario parseScenario(const Json& json) {
  Scenario scenario;
  const Path root;
  if (json.is_object() && !json.contains("request")) {
    scenario.request = parseRequest(Json::object(), root);
  }
  readKeys(json, root, kScenarioKeys, &scenario);
  return scenario;
}

}  // namespace replay
