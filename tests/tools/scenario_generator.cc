#include "tests/tools/scenario_generator.h"

#include <array>
#include <initializer_list>

namespace {

using Texts = std::vector<std::string>;

const Texts kVariables = {"ip",
                          "mac",
                          "username",
                          "domain",
                          "hostname",
                          "identity",
                          "link-login",
                          "link-orig",
                          "link-orig-esc",
                          "link-redirect",
                          "link-status",
                          "link-logout",
                          "logged-in",
                          "blocked",
                          "trial",
                          "uptime",
                          "session-time-left",
                          "refresh-timeout-secs",
                          "idle-timeout",
                          "bytes-in-nice",
                          "remain-bytes-in",
                          "limit-bytes-total",
                          "chap-id",
                          "chap-challenge",
                          "popup",
                          "target-dir",
                          "error",
                          "error-orig",
                          "error-type",
                          "var",
                          "var-esc",
                          "session-id",
                          "server-address",
                          "user-agent",
                          "login-by-mac",
                          "radius",
                          "radius1",
                          "radius26-9u",
                          "radius-esc",
                          "nosuch",
                          "else",
                          "-esc"};

const Texts kDirectives = {
    "$(if ",    "$(elif ", "$(else)", "$(endif)", "%if ", "%else%", "%endif%", "$(",
    "%",        ")",       " == ",    " != ",     " <> ", " = ",    " == '')", " == \"yes\")",
    " == yes)", "'",       "\"",      "\\",       "$",    "$$(",    "%%",      "\t",
    " "};

const Texts kPlain = {"<p>", "</p>\n", "100% sure ", "a b c", "\r\n", "&amp;", "<a href=\"", "\">"};

const Texts kPageNames = {"login",      "logout",     "status",      "advert",     "alogin",
                          "set",        "login.html", "logout.cgi",  "status.cgi", "advert.html",
                          "alogin.cgi", "set.html",   "set.cgi",     "Login",      "login.htm",
                          "error",      "error.html", "ab",          "a",          "",
                          "style.css",  "notes.txt",  "logo.gif",    "data.bin",   "rstatus.html",
                          "a..b.html",  "..",         "secret.html", "folder",     "radvert.html",
                          "loginx",     "statu"};

const Texts kPageFiles = {"login",    "flogin", "logout",  "flogout", "status", "fstatus",
                          "set",      "fset",   "advert",  "fadvert", "alogin", "falogin",
                          "redirect", "rlogin", "rstatus", "radvert", "error"};

const Texts kDirectories = {"",     "",      "/",         "lv/",       "/lv/",
                            "xml/", "/a/b/", "//",        "lv//",      "/nosuch/",
                            "../",  "/../",  "lv/../../", "/outside/", "./"};

const Texts kTargets = {"lv",      "/lv", "lv/",   "lv///", "/",       "///",
                        "",        "a/b", "//lv/", "xml",   "..",      "lv/../..",
                        "%2e%2e/", "LV",  "%2Flv", "+lv",   "outside", "l%00v"};

const Texts kParameters = {
    "username",     "user",         "password",   "domain", "popup", "popup-default",
    "erase-cookie", "idle-timeout", "session-id", "var",    "dst",   "radius",
    "radius1",      "radius26-9u",  "USERNAME",   "Var",    "x",     ""};

const Texts kValues = {"",
                       "joe",
                       "false",
                       "FALSE",
                       "true",
                       "On",
                       "no",
                       "0",
                       "300",
                       "-1",
                       " 7",
                       "42x",
                       "4294967296",
                       "http://www.example.com/?a=b&c=d",
                       "http%3A%2F%2Fwww.example.com%2F%3Fa%3Db",
                       "%41%4",
                       "%zz%5",
                       "a%20b+c",
                       "%0d%0aX: y",
                       "<script>",
                       "\"'&",
                       "00:1A:2B:3C:4D:5E",
                       "% 5%-1%0x",
                       "a=b",
                       "=",
                       "%",
                       "$(ip)",
                       "%ip%",
                       "x\ny",
                       "\xc3\xa9"};

const Texts kHosts = {"www.example.com", "10.5.50.1", "portal.example:8080", "h\r\nX: y", "[::1]"};

struct Numbers {
  std::uint32_t operator()(std::uint64_t random) const {
    static constexpr std::array<std::uint32_t, 14> kBounds = {
        0, 1, 2, 3, 59, 60, 61, 3599, 3600, 86400, 1000000, 0x7fffffff, 0x80000000, 0xffffffff};
    const std::uint32_t bits = static_cast<std::uint32_t>(random >> 32);
    if ((random & 1) != 0) return kBounds[bits % kBounds.size()];
    return bits >> ((random >> 1) % 32);
  }
};

// Unlike a sum, it takes the parts from left to right with every compiler.
std::string join(std::initializer_list<std::string> parts) {
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

std::string hex(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace

std::string toJsonBytes(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xc0 | (byte >> 6));
      text += static_cast<char>(0x80 | (byte & 0x3f));
    }
  }
  return text;
}

std::string fromJsonBytes(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else {
      const unsigned next = static_cast<unsigned char>(text[++i]);
      bytes += static_cast<char>(((lead & 3) << 6) | (next & 0x3f));
    }
  }
  return bytes;
}

std::uint32_t ScenarioGenerator::number() { return Numbers()(random_()); }

std::string ScenarioGenerator::address() {
  std::string text;
  for (int i = 0; i < 4; ++i) text += (i == 0 ? "" : ".") + std::to_string(below(256));
  return text;
}

std::string ScenarioGenerator::bytes(std::size_t most) {
  std::string result(below(most + 1), '\0');
  for (char& c : result) c = static_cast<char>(below(256));
  return result;
}

std::string ScenarioGenerator::value() {
  return chance(85) ? oneOf(kValues) : chance(90) ? bytes(20) : std::string(below(1500), 'v');
}

std::string ScenarioGenerator::form() {
  std::string text;
  if (chance(30)) text += "target=" + oneOf(kTargets);
  for (std::size_t left = below(4); left > 0; --left) {
    if (!text.empty() && !chance(3)) text += chance(90) ? "&" : "&& ";
    text += oneOf(kParameters);
    if (!chance(5)) text += "=" + value();
  }
  return text;
}

std::string ScenarioGenerator::directory() { return oneOf(kDirectories); }

std::string ScenarioGenerator::pageText() {
  std::string text;
  for (std::size_t left = below(12); left > 0; --left) {
    switch (below(8)) {
      case 0:
      case 1:
        text += "$(" + oneOf(kVariables) + ")";
        break;
      case 2:
        text += "%" + oneOf(kVariables) + "%";
        break;
      case 3:
        text += join({"$(if ", oneOf(kVariables), ")", oneOf(kPlain), "$(endif)"});
        break;
      case 4:
        text += join({oneOf(kDirectives), oneOf(kVariables)});
        break;
      case 5:
        text += oneOf(kDirectives);
        break;
      case 6:
        text += oneOf(kPlain);
        break;
      default:
        text += chance(90) ? oneOf(kValues) : bytes(40);
    }
  }
  return text;
}

Json ScenarioGenerator::request() {
  static const Texts kMethods = {"GET", "GET", "GET", "POST", "POST", "HEAD", "PUT", "UNKNOWN"};
  static const Texts kProtocols = {"http", "http", "http", "https", "https", "ftp", "unknown"};
  Json request = Json::object();
  request["method"] = oneOf(kMethods);
  if (chance(40)) request["protocol"] = oneOf(kProtocols);
  request["path"] = toJsonBytes(join({"/", directory(), oneOf(kPageNames)}));
  if (chance(60)) {
    request["relPath"] =
        toJsonBytes(chance(97) ? join({directory(), oneOf(kPageNames)}) : bytes(12));
  }
  if (chance(60)) request["query"] = toJsonBytes(form());
  if (chance(40)) request["body"] = toJsonBytes(form());
  if (chance(10)) request["bodyFails"] = true;
  if (chance(50)) {
    static const Texts kAgents = {"LinkAgent", "LinkAgent/1.0", "linkagent", "Mozilla/5.0 (X)", "/",
                                  "",          "LinkAgent /2"};
    static const Texts kCookies = {
        "loginID=42",         "a=1; loginID= 7 ;b=2", "xloginID=5",          "loginID=", "loginID",
        "a=b;\tloginID=4%32", "loginID=-1",           "loginID=99999999999", "LoginID=3"};
    Json headers = Json::array();
    if (chance(70)) headers.push_back({"User-Agent", toJsonBytes(oneOf(kAgents))});
    if (chance(50)) headers.push_back({"COOKIE", toJsonBytes(oneOf(kCookies))});
    if (chance(10)) headers.push_back({"cookie", toJsonBytes(value())});
    request["headers"] = headers;
  }
  if (chance(20)) request["clientAddr"] = address();
  if (chance(20)) request["localAddr"] = address();
  if (chance(30)) request["ssl"] = true;
  if (chance(35)) request["foreignDst"] = true;
  if (chance(35)) request["dstHost"] = toJsonBytes(oneOf(kHosts));
  if (chance(50)) {
    std::uint32_t flags = 0;
    for (const std::uint32_t bit :
         {0x10000000u, 0x08000000u, 0x01000000u, 0x80000000u, 0x02000000u}) {
      if (chance(40)) flags |= bit;
    }
    request["connFlags"] = chance(90) ? flags : number();
  }
  if (chance(20)) request["origDst"] = {chance(50) ? 0 : number(), chance(50) ? 0 : number()};
  if (chance(30)) request["initOrigDst"] = {number(), number()};
  return request;
}

Json ScenarioGenerator::reply() {
  static const Texts kStrings = {"0x20000001", "0x20000008", "0x20000013",
                                 "0x2000044e", "0x20000455", "0x20000456",
                                 "0x20000457", "0x20000458", "0x20000411"};
  static const Texts kNumbers = {"0x08000003", "0x08000004", "0x0800000e",
                                 "0x08000453", "0x0800044f", "0x8000450"};
  static const Texts kLongNumbers = {"0x10000015", "0x10000016", "0x10000017", "0x10000018",
                                     "0x1000001f", "0x10000020", "0x10000021"};
  static const Texts kPageDirs = {"$PAGES/inner/", "$PAGES/inner/", "$PAGES/inner/", "$PAGES/inner",
                                  "/nosuch/"};
  Json fields = Json::object();
  if (chance(92)) fields["0x2000044d"] = oneOf(kPageDirs);
  if (chance(75)) fields["0x451"] = chance(65);
  if (chance(30)) fields["0x00000452"] = chance(50);
  if (chance(40)) fields["0x8000011"] = chance(80) ? below(5) : number();
  for (const std::string& id : kStrings) {
    if (chance(25)) fields[id] = toJsonBytes(value());
  }
  // The server's name, which stands in what is redirected to.
  if (chance(10)) fields["0x2000044e"] = toJsonBytes("p.example\r\nSet-Cookie: x=1\x7f\v");
  for (const std::string& id : kNumbers) {
    if (chance(35)) fields[id] = number();
  }
  if (chance(70)) fields["0x080003ec"] = number();
  if (chance(70)) fields["0x0800041c"] = number();
  for (const std::string& id : kLongNumbers) {
    if (chance(25)) fields[id] = std::uint64_t{number()} << below(33);
  }
  if (chance(30)) fields["0x2000041b"] = toJsonBytes(bytes(18));
  if (chance(30))
    fields["0x3000000b"] = hex(chance(80) ? std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6) : bytes(8));
  if (chance(20)) fields["0x20000454"] = toJsonBytes(pageText());
  if (chance(25)) {
    static const Texts kAttributes = {
        std::string("\x01\x05joe", 5), std::string("\x1a\x0f\x00\x00\x37\x2a\x04\x09http://", 15),
        std::string("\x1a\x0f\x00\x00\x37\x2a\x04\x08http://", 15), "\x01", std::string()};
    fields["0x30000439"] = hex(chance(80) ? oneOf(kAttributes) : bytes(30));
  }
  Json reply = Json::object();
  reply["fields"] = fields;
  if (chance(30)) {
    const std::uint32_t code = chance(70)   ? static_cast<std::uint32_t>(below(0x13))
                               : chance(50) ? 0xfe0004
                                            : number();
    reply["error"] = {{"code", code}, {"text", toJsonBytes(chance(80) ? value() : std::string())}};
  }
  return reply;
}

Json ScenarioGenerator::pages() {
  Json pages = Json::object();
  for (const char* name : {"login.html", "outside/secret.html"}) {
    pages[name] = kOutside;
  }
  for (const std::string& name : kPageFiles) {
    for (const char* dir : {"inner/", "inner/lv/"}) {
      if (chance(dir[5] == '/' && dir[6] == '\0' ? 25 : 6)) {
        pages[dir + name + ".html"] = toJsonBytes(pageText());
      }
    }
  }
  for (const char* name :
       {"inner/style.css", "inner/notes.txt", "inner/logo.gif", "inner/data.bin", "inner/set",
        "inner/error", "inner/ab", "inner/a/b/status.html", "inner/Login", "inner/set.html"}) {
    if (chance(30)) pages[name] = toJsonBytes(chance(80) ? pageText() : bytes(200));
  }
  if (chance(30)) pages["inner/folder"] = nullptr;
  if (!pages.contains("inner/rstatus.html") && chance(20)) pages["inner/rstatus.html"] = nullptr;
  return pages;
}

Json ScenarioGenerator::call() {
  switch (below(9)) {
    case 0:
      return {"bin2oct", toJsonBytes(bytes(20))};
    case 1: {
      static const Texts kFormats = {"%u", "unknown<0x%x>", "%x", "%08u"};
      return {"num2str", number(), oneOf(kFormats)};
    }
    case 2:
      return {"ull2str", std::uint64_t{number()} << below(33)};
    case 3:
      return {"fixString", toJsonBytes(chance(50) ? value() : bytes(30))};
    case 4:
      return {"doEscapeString", toJsonBytes(chance(50) ? value() : bytes(30))};
    case 5:
      return {"xmlEscapeString", toJsonBytes(chance(50) ? pageText() : bytes(30))};
    case 6:
      return {"getTimeStr", number()};
    case 7:
      return {"getDateTimeStr", number()};
    default:
      return {"getNiceBytes", std::uint64_t{number()} << below(33)};
  }
}

Json ScenarioGenerator::next() {
  Json scenario = Json::object();
  scenario["name"] = std::to_string(random_());
  if (chance(10)) {
    scenario["call"] = call();
    return scenario;
  }
  scenario["request"] = request();
  Json replies = Json::array();
  for (std::size_t left = chance(4) ? 0 : 1 + below(2); left > 0; --left)
    replies.push_back(reply());
  scenario["replies"] = replies;
  scenario["pages"] = pages();
  if (chance(40)) scenario["uptime"] = number();
  scenario["hostname"] = chance(80) ? Json("router") : Json(nullptr);
  if (chance(8)) scenario["debug"] = false;
  if (chance(8)) scenario["debugSwitch"] = false;
  return scenario;
}
