#include "tests/tools/scenario_rules.h"

#include <algorithm>
#include <map>
#include <set>

#include "tests/tools/scenario_wire.h"

namespace {

constexpr char kAgentType[] = "application/vnd.quarnett.hotspot";

// One scenario and its result, and what was found wrong.
class Check {
 public:
  Check(const Json& scenario, const Json& result)
      : request_(scenario["request"]), scenario_(scenario), result_(result) {}

  std::vector<std::string> run() {
    readHeaders();
    checkRefusals();
    checkCommands();
    checkStatus();
    checkHeaders();
    checkConnection();
    checkBody();
    checkFiles();
    checkWire();
    checkDebug();
    return broken_;
  }

 private:
  void expect(bool holds, const char* rule) {
    if (!holds) broken_.push_back(rule);
  }

  std::string requested(const char* key, const char* def) const {
    return fromJsonBytes(request_.value(key, def));
  }
  bool requestedFlag(const char* key) const { return request_.value(key, false); }
  std::uint32_t connFlags() const { return request_.value("connFlags", 0u); }

  bool isLocal() const { return !requestedFlag("foreignDst") || (connFlags() & 0x10000000) != 0; }

  void readHeaders() {
    for (const Json& header : result_["headers"]) {
      const std::string name = header[0];
      expect(headers_.count(name) == 0, "no header stands twice");
      headers_[name] = fromJsonBytes(header[1]);
    }
  }

  bool has(const char* header) const { return headers_.count(header) != 0; }

  // What is refused before anybody is asked.
  void checkRefusals() {
    const Json& error = result_["sendError"];
    if (!error.is_null()) {
      const int status = error[0];
      const std::string text = error[1];
      expect(status == 400 || status == 404 || status == 503, "refused with 400, 404 or 503");
      expect(status != 404 || text.empty(), "404 says nothing");
    }
    if (!isLocal()) {
      expect(error.is_null() || error[0] == 404, "an intercepted request is not validated");
      return;
    }
    const std::string protocol = request_.value("protocol", "http");
    const std::string method = request_.value("method", "GET");
    Json expected;
    if (protocol != "http" && protocol != "https") {
      expected = {503, protocol + " protocol is not supported by hotspot"};
    } else if (method == "POST") {
      if (requestedFlag("bodyFails") || requested("body", "").size() > 1024) {
        expected = {400, "can't read POST data"};
      }
    } else if (method != "GET") {
      expected = {503, method + " method is not supported by hotspot"};
    }
    const std::string path =
        request_.contains("relPath") ? requested("relPath", "") : requested("path", "/");
    if (expected.is_null() && path.find("..") != std::string::npos) expected = {404, ""};
    refused_ = !expected.is_null();
    if (refused_) {
      expect(error == expected, "refused as it should be");
      expect(result_["commands"].empty(), "a refused request asks nobody");
      expect(result_["headers"].empty() && result_["body"] == "", "a refusal is all there is");
    } else {
      expect(result_["commands"].size() == 1, "one request, one command");
      expect(error.is_null() || error[0] == 404, "a request that passed can only be not found");
    }
  }

  void checkCommands() {
    static const std::map<std::uint32_t, std::set<std::string>> kOwnFields = {
        {1, {"0x08fe000c"}},
        {2,
         {"0x20000001", "0x200003eb", "0x20000008", "0x000003f1", "0x080003ec", "0x080003ed",
          "0x080003ee"}},
        {3, {"0x08fe000c", "0x00000425"}},
        {8, {"0x0800000e"}},
        {9, {"0x08fe000c", "0x080003ed", "0x080003ee"}},
        {10, {"0x08fe000c"}},
        {11, {"0x08fe000c"}}};
    expect(isLocal() || result_["commands"].size() == 1, "an intercepted request asks once");
    for (const Json& command : result_["commands"]) {
      std::vector<std::string> order;
      std::map<std::string, Json> fields;
      for (const Json& field : command["fields"]) {
        order.push_back(field[0]);
        fields[field[0]] = field[1];
      }
      expect(fields.size() == order.size(), "no field stands twice");
      const auto first = std::find(order.begin(), order.end(), "0x88ff0001");
      std::vector<std::string> common(first, order.end());
      if (common.size() == 4 && common[3] == "0x2000044e") {
        expect(fields["0x2000044e"] != "", "no target directory rather than an empty one");
        common.pop_back();
      }
      expect(common == std::vector<std::string>{"0x88ff0001", "0x08ff0007", "0x080003e9"},
             "the common fields end every command, in their order");
      expect(fields["0x88ff0001"] == Json::array({63, 13}), "sent to the manager");
      const std::uint32_t number =
          fields["0x08ff0007"].is_number() ? fields["0x08ff0007"].get<std::uint32_t>() : 0;
      const auto own = kOwnFields.find(number);
      expect(own != kOwnFields.end(), "a command that there is");
      if (own == kOwnFields.end()) continue;
      expect(std::all_of(order.begin(), first,
                         [&](const std::string& id) { return own->second.count(id) != 0; }),
             "a command has its own fields alone");
      expect(command["timeout"] == (number == 2 ? 18000 : 1000), "the command's time-out");
      const bool proxied = fields.count("0x080003ed") != 0;
      expect(proxied == ((number == 2 || number == 9) && (connFlags() & 0x08000000) != 0),
             "the original destination where it is known");
      expect(proxied == (fields.count("0x080003ee") != 0), "address and port go together");
      expect(isLocal() || number == 9, "an intercepted request looks the client up");
    }
  }

  void checkStatus() {
    const int status = result_["status"];
    const bool get = request_.value("method", "GET") == "GET";
    expect(status == 200 || status == (get ? 302 : 303), "302 for GET, 303 for the rest");
    expect(has("Location") == (status != 200), "a redirect says where to");
    expect(result_["reason"] == (status == 200 ? "" : "Hotspot login required"), "the reason");
  }

  void checkHeaders() {
    static const std::set<std::string> kNames = {"Set-Cookie", "Location", "Cache-Control",
                                                 "Content-Type", "Content-Length"};
    for (const auto& [name, value] : headers_) {
      expect(kNames.count(name) != 0, "only headers that there are");
    }
    if (has("Location")) {
      const std::string& location = headers_["Location"];
      expect(location.rfind("http://", 0) == 0 || location.rfind("https://", 0) == 0,
             "redirected to the web");
    }
    expect(!has("Cache-Control") || headers_["Cache-Control"] == "no-cache", "pages are not kept");
    expect(result_["sendError"].is_null() == has("Content-Type"),
           "an answer has a type, an error none");
  }

  void checkConnection() {
    const Json& keepAlive = result_["keepAlive"];
    expect(keepAlive[0] == keepAlive[1], "both reuse flags go together");
    bool dropped = false;
    if (result_["commands"].size() == 1 && !scenario_["replies"].empty()) {
      const Json& reply = scenario_["replies"][0];
      dropped = reply.contains("error") && reply["error"]["code"] == 0xfe0004;
    }
    expect(result_["socketClosed"] == dropped, "the client is dropped when the manager says so");
    expect(!dropped || keepAlive[0] == false, "a dropped connection is not used again");
    expect(keepAlive[0] == true || dropped || requestedFlag("ssl"),
           "only TLS connections end by themselves");
    expect(result_["initOrigDst"] <= 2, "the original destination is asked for twice at most");
  }

  void checkBody() {
    const std::string body = fromJsonBytes(result_["body"]);
    expect(body.find(ScenarioGenerator::kOutside) == std::string::npos,
           "nothing outside the page directory is read");
    if (has("Content-Length")) {
      expect(headers_["Content-Length"] == std::to_string(body.size()), "the length is the body's");
    }
    if (has("Content-Type") && headers_["Content-Type"] == kAgentType) {
      expect(!has("Cache-Control") && !has("Content-Length"), "the agent's page has a type alone");
      checkAgentLines(body);
    }
  }

  void checkAgentLines(const std::string& body) {
    std::string before;
    std::size_t at = 0;
    while (at < body.size()) {
      const std::size_t end = body.find('\n', at);
      const std::string line = body.substr(at, end - at);
      const std::size_t colon = line.find(": ");
      expect(end != std::string::npos && line.size() > 1 && line.back() == '\r' &&
                 colon != std::string::npos && colon > 0 && colon + 3 < line.size(),
             "an agent's line is a name and a value");
      if (end == std::string::npos || colon == std::string::npos) return;
      expect(before < line.substr(0, colon), "the agent's lines are in order");
      before = line.substr(0, colon);
      at = end + 1;
    }
  }

  // What the module asked the system for, whether it was there or not. A reply that names no page
  // directory leaves the usual one.
  void checkFiles() {
    std::string directory = "/home/web/hotspot/";
    if (result_["commands"].size() == 1 && !scenario_["replies"].empty()) {
      const Json& fields = scenario_["replies"][0]["fields"];
      if (fields.contains("0x2000044d")) directory = fields["0x2000044d"];
    }
    expect(!refused_ || result_["files"].empty(), "a refused request looks at no file");
    std::set<std::string> found;
    for (const Json& entry : result_["files"]) {
      const std::string text = fromJsonBytes(entry);
      const std::string call = text.substr(0, 5);
      const std::string path = text.substr(5);
      expect(
          path.rfind(directory, 0) == 0 && path.find("..", directory.size()) == std::string::npos,
          "no file is asked for outside the page directory");
      if (call == "stat ") found.insert(path);
      expect(call == "stat " || (call == "open " && found.count(path) != 0),
             "a file is found before it is opened");
    }
  }

  // The same answer once more as a client gets it.
  void checkWire() {
    if (result_["socketClosed"]) return;  // nothing is sent
    const WireAnswer answer = takeApart(wireBytes(scenario_, result_));
    expect(answer.whole, "an answer is a status line, fields and an empty line");
    if (!answer.whole) return;
    const Json& error = result_["sendError"];
    const int status = error.is_null() ? result_["status"] : error[0];
    expect(answer.statusLine.rfind("HTTP/1.1 " + std::to_string(status) + " ", 0) == 0 &&
               !hasControls(answer.statusLine),
           "the status line has the status and no control bytes");

    std::map<std::string, std::string> sent;
    for (const auto& [name, value] : answer.fields) {
      expect(sent.emplace(name, value).second, "no field is sent twice");
      expect(!hasControls(name) && !hasControls(value), "no control bytes in a header");
    }
    std::set<std::string> names = {"Date", "Content-Length"};
    for (const auto& [name, value] : headers_) names.insert(name);
    if (!error.is_null()) names.insert("Content-Type");
    if (requestedFlag("foreignDst")) names.insert("Cache-Control");
    if (requestedFlag("foreignDst") || !result_["keepAlive"][0]) names.insert("Connection");
    std::set<std::string> sentNames;
    for (const auto& [name, value] : sent) sentNames.insert(name);
    expect(sentNames == names, "the module's headers and the server's own, no others");
    for (const char* name : {"Set-Cookie", "Location"}) {
      expect(!has(name) || sent[name] == asSent(headers_[name]), "a header keeps its value");
    }
    expect(sent["Content-Length"] == std::to_string(answer.body.size()), "the body has its length");
    expect(!error.is_null() || answer.body == fromJsonBytes(result_["body"]),
           "the body is the module's");
  }

  static bool isControl(char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f;
  }
  static bool hasControls(const std::string& text) {
    return std::any_of(text.begin(), text.end(), isControl);
  }
  // A blank for each control byte; blanks at the ends are no part of a value (RFC 9110 5.5).
  static std::string asSent(std::string value) {
    std::replace_if(value.begin(), value.end(), isControl, ' ');
    const std::size_t first = value.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return value.substr(first, value.find_last_not_of(" \t") + 1 - first);
  }

  void checkDebug() {
    const bool on = scenario_.value("debug", true) && scenario_.value("debugSwitch", true);
    const std::string text = result_["debug"];
    expect(on || text.empty(), "silent when switched off");
    expect(text.empty() || text.back() == '\n', "the debug text ends with a line");
    if (on && !refused_) {
      expect(text.find("HSrv query: ") == 0 || text.find("serve: possible hacking attempt") == 0,
             "a request is noted first");
    }
  }

  const Json& request_;
  const Json& scenario_;
  const Json& result_;
  std::map<std::string, std::string> headers_;
  bool refused_ = false;
  std::vector<std::string> broken_;
};

}  // namespace

std::vector<std::string> brokenRules(const Json& scenario, const Json& result) {
  if (result.contains("invalid")) return {"every generated scenario is valid"};
  if (result["name"] != scenario["name"]) return {"the result is this scenario's"};
  if (scenario.contains("call")) {
    if (!result.contains("value")) return {"a call has a value"};
    return {};
  }
  return Check(scenario, result).run();
}
