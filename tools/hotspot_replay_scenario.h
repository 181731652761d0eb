// A scenario as read and checked: everything that a request is played with.

#ifndef TOOLS_HOTSPOT_REPLAY_SCENARIO_H_
#define TOOLS_HOTSPOT_REPLAY_SCENARIO_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/message.h"
#include "host/request.h"
#include "tools/hotspot_replay_json.h"

namespace replay {

// Field of a reply in which "$PAGES" stands for the temporary page directory.
constexpr std::uint32_t kPageDirField = 0x2000044d;

struct RequestSpec {
  std::uint32_t method = kMethodGet;
  std::uint32_t protocol = kProtoHttp;
  std::string path = "/";
  std::optional<std::string> relPath;
  std::string query;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool bodyFails = false;
  std::uint32_t clientAddr = 0;  // words in network byte order; parseScenario sets the defaults
  std::uint32_t localAddr = 0;
  bool isSsl = false;
  bool foreignDst = false;
  std::optional<std::string> dstHost;
  std::uint32_t connFlags = 0;
  std::uint32_t origDst[2] = {0, 0};
  std::uint32_t initOrigDst[2] = {0, 0};
};

// One exported function and its arguments, each as that function takes it.
struct CallSpec {
  std::string function;
  std::string text;
  std::uint64_t number = 0;
  std::string format;
};

// A page file, or a directory when it has no content.
struct PageSpec {
  std::string name;
  std::optional<std::string> content;
};

// What gethostname gives: the machine's own name, a name, or a failure.
struct HostNameSpec {
  enum Kind { kOfMachine, kGiven, kFails };
  Kind kind = kOfMachine;
  std::string name;
};

struct Scenario {
  std::string name;  // UTF-8, echoed; the only text here that does not stand for bytes
  std::optional<CallSpec> call;
  RequestSpec request;
  std::vector<nv::message> replies;
  std::vector<PageSpec> pages;
  std::uint32_t uptime = 1000000;
  HostNameSpec hostName;
  bool debug = true;
  bool debugSwitch = true;
};

// The scenario's name for a result, as far as it can be told from a value that may not be a valid
// scenario: null when that is no object or its "name" is no string.
Json nameOf(const Json& json);

// Throws Invalid when the value is no valid scenario.
Scenario parseScenario(const Json& json);

// The parts that are read in files of their own.
RequestSpec parseRequest(const Json& json, const Path& path);
nv::message parseReply(const Json& json, const Path& path);

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_SCENARIO_H_
