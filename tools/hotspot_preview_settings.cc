#include "tools/hotspot_preview_settings.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <vector>

#include "host/request.h"
#include "tools/hotspot_preview_text.h"

namespace preview {
namespace {

using enum SettingKind;

constexpr std::uint32_t kOptions = 0x08000450;
// Identifier and challenge of every preview: what a script makes of them is of no use anywhere.
constexpr char kChallenge[] = "\001ABCDEFGHIJKLMNOP";

constexpr std::string_view kRequest = "The request";
constexpr std::string_view kError = "Error";
constexpr std::string_view kSession = "The guest's session";
constexpr std::string_view kTraffic = "Traffic";
constexpr std::string_view kHotspot = "The hotspot";

constexpr Setting kSettings[] = {
    {"page", "Page asked for", kRequest, kText},
    {"site", "Site asked for, when it is not the portal", kRequest, kText},
    {"target", "Language: sub-directory of the pages", kRequest, kText, 0, 0, true},
    {"dst", "Address to go on to", kRequest, kText, 0, 0, true},
    {"https", "Over HTTPS", kRequest, kFlag},
    {"method", "Method", kRequest, kMethod},
    {"var", "Parameter var", kRequest, kText, 0, 0, true},
    {"session-id", "Parameter session-id", kRequest, kText, 0, 0, true},
    {"popup", "Parameter popup", kRequest, kText, 0, 0, true},
    {"user-agent", "Browser", kRequest, kText},
    {"ip", "Guest's address", kRequest, kAddress},
    {"advert-held", "Held back for an advertisement", kRequest, kFlag, 0, kConnAdvertDue},
    {"alogin-held", "Held back for the after-login page", kRequest, kFlag, 0,
     kConnALoginA | kConnALoginB},

    {"error-code", "Code of the manager's error", kError, kNumber, nv::kErrorCode},
    {"error-text", "The manager's text", kError, kText, nv::kErrorText},
    {"message", "The manager's message for the page", kError, kText, 0x20000454},

    {"logged-in", "Logged in", kSession, kFlag, 0x00000451},
    {"username", "User name", kSession, kText, 0x20000001},
    {"domain", "Domain", kSession, kText, 0x20000008},
    {"login-by", "How the guest logged in", kSession, kText, 0x20000013},
    {"uptime", "Logged in for, seconds", kSession, kSecsAgo, 0x08000003},
    {"session-time-left", "Time left, seconds", kSession, kSecsLeft, 0x08000004},
    {"idle-timeout", "Idle time-out, seconds", kSession, kNumber, 0x0800000e},
    {"refresh-timeout", "Status page reloads after, seconds", kSession, kNumber, 0x08000453},
    {"state", "1 normal, 2 advertisement due, 3 blocked", kSession, kNumber, 0x08000011},
    {"advert-url", "Advertisement", kSession, kText, 0x20000411},
    {"mac", "MAC address, 12 hexadecimal digits", kSession, kHex, 0x3000000b},
    {"radius", "RADIUS attributes, hexadecimal", kSession, kHex, 0x30000439},

    {"bytes-in", "Bytes from the guest", kTraffic, kNumber, 0x10000015},
    {"bytes-out", "Bytes to the guest", kTraffic, kNumber, 0x10000017},
    {"packets-in", "Packets from the guest", kTraffic, kNumber, 0x10000016},
    {"packets-out", "Packets to the guest", kTraffic, kNumber, 0x10000018},
    {"limit-bytes-in", "Limit of bytes from the guest", kTraffic, kNumber, 0x1000001f},
    {"limit-bytes-out", "Limit of bytes to the guest", kTraffic, kNumber, 0x10000020},
    {"limit-bytes-total", "Limit of both together", kTraffic, kNumber, 0x10000021},

    {"location-name", "Name of the place", kHotspot, kText, 0x20000458},
    {"location-id", "Id of the place", kHotspot, kText, 0x20000457},
    {"hostname", "Host of the portal's links", kHotspot, kText, 0x2000044e},
    {"server-name", "Name of the server", kHotspot, kText, 0x20000455},
    {"interface-name", "Name of the interface", kHotspot, kText, 0x20000456},
    {"trial", "A trial is offered", kHotspot, kFlag, kOptions, 0x20},
    {"plain-passwd", "Passwords may be sent as they are", kHotspot, kFlag, kOptions, 0x10},
    {"ssl-login", "The login page is reached over HTTPS", kHotspot, kFlag, 0x00000452},
    {"chap", "Passwords are protected by a challenge", kHotspot, kFlag, 0x2000041b},
};

[[noreturn]] void refuse(const Setting& setting, const std::string& value, const char* wanted) {
  throw WrongSetting(std::string(setting.name) + " cannot be \"" + value + "\": give " + wanted);
}

std::uint64_t numberOf(const Setting& setting, const std::string& value) {
  const bool isWide = nv::typeOf(setting.field) == nv::kU64;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  const bool isNumber = error == std::errc() && end == value.data() + value.size();
  if (!isNumber || (!isWide && number > std::numeric_limits<std::uint32_t>::max())) {
    refuse(setting, value,
           isWide ? "a whole number below 2^64" : "a whole number below 4294967296");
  }
  return number;
}

std::vector<unsigned char> bytesOf(const Setting& setting, const std::string& value) {
  const bool isHex = value.size() % 2 == 0 && std::ranges::all_of(value, [](char c) {
                       return std::isxdigit(static_cast<unsigned char>(c)) != 0;
                     });
  if (!isHex) refuse(setting, value, "pairs of hexadecimal digits");
  std::vector<unsigned char> bytes;
  for (std::size_t i = 0; i < value.size(); i += 2) {
    bytes.push_back(
        static_cast<unsigned char>(std::strtoul(value.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

bool flagOf(const Setting& setting, const std::string& value) {
  if (value != "yes" && value != "no") refuse(setting, value, "yes or no");
  return value == "yes";
}

void applyToReply(const Setting& setting, const std::string& value, std::uint32_t uptime,
                  nv::message* reply) {
  if (setting.mask != 0) {
    const std::uint32_t before = reply->get_u32(setting.field, 0);
    const bool isSet = flagOf(setting, value);
    reply->insert_u32(setting.field, isSet ? before | setting.mask : before & ~setting.mask);
    return;
  }
  switch (setting.kind) {
    case kFlag:
      if (nv::typeOf(setting.field) == nv::kBool) {
        return reply->insert_bool(setting.field, flagOf(setting, value));
      }
      if (flagOf(setting, value)) reply->insert_string(setting.field, kChallenge);
      return;
    case kNumber: {
      const std::uint64_t number = numberOf(setting, value);
      // The insertion that is not of the field's type does nothing.
      reply->insert_u32(setting.field, static_cast<std::uint32_t>(number));
      return reply->insert_u64(setting.field, number);
    }
    case kSecsAgo:
    case kSecsLeft: {
      // Modulo 2^32, as the manager's clock is.
      const auto seconds = static_cast<std::uint32_t>(numberOf(setting, value));
      return reply->insert_u32(setting.field,
                               setting.kind == kSecsAgo ? uptime - seconds : uptime + seconds);
    }
    case kHex:
      return reply->insert_raw(setting.field, bytesOf(setting, value));
    default:
      return reply->insert_string(setting.field, value);
  }
}

std::uint32_t addressOf(const Setting& setting, const std::string& value) {
  in_addr address{};
  if (inet_pton(AF_INET, value.c_str(), &address) != 1) {
    refuse(setting, value, "a dotted IPv4 address");
  }
  return address.s_addr;
}

void applyToRequest(const Setting& setting, const std::string& value,
                    replay::RequestSpec* request) {
  if (setting.mask != 0) {
    if (flagOf(setting, value)) request->connFlags |= setting.mask;
  } else if (setting.name == "https") {
    request->isSsl = flagOf(setting, value);
    request->protocol = request->isSsl ? kProtoHttps : kProtoHttp;
  } else if (setting.name == "method") {
    if (value != "GET" && value != "POST") refuse(setting, value, "GET or POST");
    request->method = value == "POST" ? kMethodPost : kMethodGet;
  } else if (setting.name == "user-agent") {
    request->headers.emplace_back("User-Agent", value);
  } else if (setting.name == "ip") {
    request->clientAddr = addressOf(setting, value);
  }
}

// The parameters as a query.
std::string queryOf(const Values& values) {
  std::string query;
  for (const Setting& setting : kSettings) {
    const std::string value = valueOf(values, setting.name);
    if (!setting.parameter || value.empty()) continue;
    query += query.empty() ? "" : "&";
    query += std::string(setting.name) + "=" + percentEncode(value);
  }
  return query;
}

}  // namespace

std::span<const Setting> settings() { return kSettings; }

const Setting* findSetting(std::string_view name) {
  const auto* const found = std::ranges::find(kSettings, name, &Setting::name);
  return found == std::end(kSettings) ? nullptr : found;
}

std::string valueOf(const Values& values, std::string_view name) {
  const auto found = values.find(name);
  return found == values.end() ? std::string() : found->second;
}

bool isOn(const Values& values, std::string_view name) { return valueOf(values, name) == "yes"; }

void edit(std::string_view query, Values* values) {
  for (auto& [name, value] : parseQuery(query)) {
    if (findSetting(name) == nullptr) throw WrongSetting("there is no value \"" + name + "\"");
    if (value.size() > kMostValueBytes) {
      throw WrongSetting(name + " is longer than " + std::to_string(kMostValueBytes) + " bytes");
    }
    (*values)[name] = std::move(value);
  }
}

replay::Scenario makeScenario(const Values& values, const std::string& pageDirectory) {
  replay::Scenario scenario;
  scenario.hostName = {replay::HostNameSpec::kGiven, "portal"};
  replay::RequestSpec& request = scenario.request;
  request.clientAddr = htonl(0x0a053202);  // 10.5.50.2
  request.localAddr = htonl(0x0a053201);   // 10.5.50.1
  nv::message reply;
  for (const Setting& setting : kSettings) {
    const std::string value = valueOf(values, setting.name);
    if (value.empty()) continue;
    if (setting.field != 0) {
      applyToReply(setting, value, scenario.uptime, &reply);
    } else {
      applyToRequest(setting, value, &request);
    }
  }
  // 0 is no error, and a text alone is none either.
  if (reply.get_u32(nv::kErrorCode, 0) == 0) {
    reply.erase(nv::kErrorCode);
    reply.erase(nv::kErrorText);
  }
  reply.insert_string(replay::kPageDirField, pageDirectory);
  scenario.replies.push_back(std::move(reply));

  const std::string site = valueOf(values, "site");
  const std::string page = valueOf(values, "page");
  request.query = queryOf(values);
  if (site.empty()) {
    request.relPath = page;
  } else {
    request.foreignDst = true;
    request.dstHost = site;
    request.path = "/" + page;
  }
  return scenario;
}

std::string ownTarget(const Values& values) {
  std::string target = "/";
  const std::string page = valueOf(values, "page");
  for (std::size_t start = 0; start <= page.size();) {
    const std::size_t slash = std::min(page.find('/', start), page.size());
    target += percentEncode(std::string_view(page).substr(start, slash - start));
    if (slash < page.size()) target += '/';
    start = slash + 1;
  }
  const std::string query = queryOf(values);
  return query.empty() ? target : target + "?" + query;
}

}  // namespace preview
