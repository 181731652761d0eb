// The "request" of a scenario.

#include <arpa/inet.h>

#include <cstring>

#include "tools/hotspot_replay_keys.h"
#include "tools/hotspot_replay_scenario.h"

namespace replay {
namespace {

std::uint32_t parseAddress(const Json& json, const Path& path) {
  const std::string text = readBytes(json, path);
  in_addr address{};
  // The text is compared up to its first NUL by inet_pton(3).
  if (std::strlen(text.c_str()) != text.size() || inet_pton(AF_INET, text.c_str(), &address) != 1) {
    path.fail("must be a dotted IPv4 address");
  }
  return address.s_addr;
}

// An index into `names`, given as the name or as the number.
std::uint32_t parseIndex(const Json& json, const Path& path, const char* const* names,
                         std::uint32_t count) {
  if (json.is_string()) {
    for (std::uint32_t i = 0; i < count; ++i) {
      if (json.get_ref<const std::string&>() == names[i]) return i;
    }
    path.fail("not a known name");
  }
  if (!json.is_number()) path.fail("must be a name or a number");
  const std::uint32_t index = readU32(json, path);
  if (index >= count) path.fail("must be below " + std::to_string(count));
  return index;
}

void parseWordPair(const Json& json, const Path& path, std::uint32_t (*words)[2]) {
  readArray(json, path, 2);
  for (std::size_t i = 0; i < 2; ++i) (*words)[i] = readU32(json[i], path.element(i));
}

void parseHeaders(const Json& json, const Path& path, RequestSpec* request) {
  readArray(json, path);
  for (std::size_t i = 0; i < json.size(); ++i) {
    const Path fieldPath = path.element(i);
    const Json& field = readArray(json[i], fieldPath, 2);
    request->headers.emplace_back(readBytes(field[0], fieldPath.element(0)),
                                  readBytes(field[1], fieldPath.element(1)));
  }
}

void parseDstHost(const Json& json, const Path& path, RequestSpec* request) {
  if (json.is_null()) return;
  if (!json.is_string()) path.fail("must be a string or null");
  request->dstHost = readBytes(json, path);
  if (request->dstHost->empty()) path.fail("must not be empty");
}

using RequestKey = Key<RequestSpec>;
constexpr RequestKey kRequestKeys[] = {
    {"method",
     [](const Json& value, const Path& path, RequestSpec* request) {
       request->method = parseIndex(value, path, methodNames, kMethodCount);
     }},
    {"protocol",
     [](const Json& value, const Path& path, RequestSpec* request) {
       request->protocol = parseIndex(value, path, protoNames, kProtoCount);
     }},
    {"path", [](const Json& value, const Path& path,
                RequestSpec* request) { request->path = readBytes(value, path); }},
    {"relPath", [](const Json& value, const Path& path,
                   RequestSpec* request) { request->relPath = readBytes(value, path); }},
    {"query", [](const Json& value, const Path& path,
                 RequestSpec* request) { request->query = readBytes(value, path); }},
    {"headers", parseHeaders},
    {"body", [](const Json& value, const Path& path,
                RequestSpec* request) { request->body = readBytes(value, path); }},
    {"bodyFails", [](const Json& value, const Path& path,
                     RequestSpec* request) { request->bodyFails = readBool(value, path); }},
    {"clientAddr", [](const Json& value, const Path& path,
                      RequestSpec* request) { request->clientAddr = parseAddress(value, path); }},
    {"localAddr", [](const Json& value, const Path& path,
                     RequestSpec* request) { request->localAddr = parseAddress(value, path); }},
    {"ssl", [](const Json& value, const Path& path,
               RequestSpec* request) { request->isSsl = readBool(value, path); }},
    {"foreignDst", [](const Json& value, const Path& path,
                      RequestSpec* request) { request->foreignDst = readBool(value, path); }},
    {"dstHost", parseDstHost},
    {"connFlags", [](const Json& value, const Path& path,
                     RequestSpec* request) { request->connFlags = readU32(value, path); }},
    {"origDst", [](const Json& value, const Path& path,
                   RequestSpec* request) { parseWordPair(value, path, &request->origDst); }},
    {"initOrigDst",
     [](const Json& value, const Path& path, RequestSpec* request) {
       parseWordPair(value, path, &request->initOrigDst);
     }},
};

}  // namespace

RequestSpec parseRequest(const Json& json, const Path& path) {
  RequestSpec request;
  request.clientAddr = htonl(0x0a053202);  // 10.5.50.2
  request.localAddr = htonl(0x0a053201);   // 10.5.50.1
  readKeys(json, path, kRequestKeys, &request);
  return request;
}

}  // namespace replay
