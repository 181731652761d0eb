#include "tools/hotspot_replay_play.h"

#include <cstdio>
#include <exception>

#include "tools/hotspot_replay_host.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_system.h"

namespace replay {
namespace {

std::string hexBytes(const std::vector<unsigned char>& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

// Runs a call of the module. The module is not to throw; when it does, that is what its author
// wants to read of this scenario.
template <typename Call>
auto callModule(Call call) {
  try {
    return call();
  } catch (const std::exception& error) {
    throw Invalid("module threw: " + bytesToJson(error.what()).get<std::string>());
  } catch (...) {
    throw Invalid("module threw: something that is no std::exception");
  }
}

// Puts what the module did into the form of a result.
class ResultWriter {
 public:
  explicit ResultWriter(const PageDir& pages) : pages_(pages) {}

  Json text(const std::string& bytes) const { return bytesToJson(pages_.conceal(bytes)); }

  Json headers(const Headers& headers) const {
    Json list = Json::array();
    for (const auto& [name, value] : headers.fields()) {
      list.push_back(Json::array({text(name), text(value)}));
    }
    return list;
  }

  Json error(const RecordedResponse& response) const {
    if (!response.firstError()) return nullptr;
    return Json::array({response.firstError()->first, text(response.firstError()->second)});
  }

  Json commands(const ScriptedContext& context) const {
    Json list = Json::array();
    for (const ScriptedContext::Command& command : context.commands()) {
      Json fields = Json::array();
      for (const std::uint32_t id : command.fields.ids()) {
        char idText[sizeof "0x00000000"];
        std::snprintf(idText, sizeof idText, "0x%08x", id);
        fields.push_back(Json::array({idText, value(command.fields, id)}));
      }
      Json entry = Json::object();
      entry["timeout"] = command.timeoutMs;
      entry["fields"] = std::move(fields);
      list.push_back(std::move(entry));
    }
    return list;
  }

 private:
  Json value(const nv::message& message, std::uint32_t id) const {
    switch (nv::typeOf(id)) {
      case nv::kBool:
        return message.get_bool(id, false);
      case nv::kU32:
        return message.get_u32(id, 0);
      case nv::kU64:
        return message.get_u64(id, 0);
      case nv::kString:
        return text(message.get_string(id, ""));
      case nv::kRaw:
        return hexBytes(message.get_raw(id, {}));
      case nv::kU32Array:
        return message.get_u32_array(id, {});
      default:
        return nullptr;  // a message holds no field of another type
    }
  }

  const PageDir& pages_;
};

Json playRequest(Module& module, TempDir& temp, const Scenario& scenario) {
  const PageDir pages(temp, scenario);
  const ScenarioSystem system(scenario);
  ScriptedContext context(scenario, pages);
  const ScriptedRequest request(scenario.request);
  RecordedResponse response;
  callModule([&] { module.servlet().doMethod(context, request, response); });

  const ResultWriter writer(pages);
  Json result = Json::object();
  result["name"] = scenario.name;
  result["status"] = response.status();
  result["reason"] = writer.text(response.reason());
  result["headers"] = writer.headers(response.headers);
  result["body"] = writer.text(response.body());
  result["sendError"] = writer.error(response);
  result["commands"] = writer.commands(context);
  result["debug"] = writer.text(system.debugText());
  result["keepAlive"] = Json::array({response.keepAlive, response.reusable});
  result["socketClosed"] = request.socketClosed();
  result["initOrigDst"] = request.initOrigDstCalls();
  return result;
}

Json playCall(const Module& module, const std::string& name, const CallSpec& call) {
  const Formatter& formatter = *findFormatter(call.function);
  const std::string value =
      callModule([&] { return module.format(formatter, call.text, call.number, call.format); });
  Json result = Json::object();
  result["name"] = name;
  result["value"] = bytesToJson(value);
  return result;
}

}  // namespace

Json play(Module& module, TempDir& temp, const Scenario& scenario) {
  if (scenario.call) return playCall(module, scenario.name, *scenario.call);
  return playRequest(module, temp, scenario);
}

}  // namespace replay
