#include "manager/server_settings.h"

#include <charconv>
#include <string_view>

#include "manager/address_text.h"

namespace manager {

namespace {

// A setting is one member; which of the three pointers is set says of which type.
struct Setting {
  const char* name;
  std::string ServerSettings::*text;
  bool ServerSettings::*flag;
  std::uint64_t ServerSettings::*number;
};

constexpr Setting kSettings[] = {
    {"html-dir", &ServerSettings::htmlDir, nullptr, nullptr},
    {"dns-name", &ServerSettings::dnsName, nullptr, nullptr},
    {"server-name", &ServerSettings::serverName, nullptr, nullptr},
    {"server-address", &ServerSettings::serverAddress, nullptr, nullptr},
    {"interface", &ServerSettings::interfaceName, nullptr, nullptr},
    {"location-id", &ServerSettings::locationId, nullptr, nullptr},
    {"location-name", &ServerSettings::locationName, nullptr, nullptr},
    {"trial", nullptr, &ServerSettings::trial, nullptr},
    {"plain-passwd", nullptr, &ServerSettings::plainPasswd, nullptr},
    {"ssl-login", nullptr, &ServerSettings::sslLogin, nullptr},
    {"cookie-lifetime", nullptr, nullptr, &ServerSettings::cookieLifetimeSecs},
};

constexpr std::size_t kMaxTextBytes = 1024;
constexpr std::size_t kMaxDnsNameBytes = 253;

const Setting* findSetting(const std::string& name) {
  for (const Setting& setting : kSettings) {
    if (name == setting.name) return &setting;
  }
  return nullptr;
}

// A DNS name goes into links as it stands, so it has to be one: letters, digits, '-' and '.', with
// a port behind it where the portal is not on the scheme's own.
bool isDnsName(const std::string& text) {
  if (text.size() > kMaxDnsNameBytes) return false;
  const std::size_t colon = text.find(':');
  for (const char c : std::string_view(text).substr(0, colon)) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!letter && !(c >= '0' && c <= '9') && c != '-' && c != '.') return false;
  }
  if (colon == std::string::npos) return true;
  unsigned port = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, failure] = std::from_chars(text.data() + colon + 1, end, port);
  return colon > 0 && failure == std::errc() && behind == end && port > 0 && port < 65536;
}

bool setText(ServerSettings* settings, const Setting& setting, const std::string& text,
             std::string* why) {
  const std::string name = setting.name;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      *why = "must not hold control characters";
      return false;
    }
  }
  if (text.size() > kMaxTextBytes) {
    *why = "must be at most " + std::to_string(kMaxTextBytes) + " bytes long";
    return false;
  }
  std::uint32_t address = 0;
  if (name == "server-address" && !text.empty() && !parseAddress(text, &address)) {
    *why = "must be an IPv4 address such as 10.5.50.1, or empty";
    return false;
  }
  if (name == "dns-name" && !isDnsName(text)) {
    *why = "must be a host name such as hotspot.example.net, with a port or without, or empty";
    return false;
  }
  std::string value = text;
  if (name == "html-dir") {
    if (value.empty() || value.front() != '/') {
      *why = "must be an absolute directory such as /usr/share/hotspot/pages";
      return false;
    }
    if (value.back() != '/') value += '/';
  }
  settings->*setting.text = value;
  return true;
}

}  // namespace

const std::vector<std::string>& serverSettingNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> list;
    for (const Setting& setting : kSettings) list.push_back(setting.name);
    return list;
  }();
  return names;
}

bool setServerSetting(ServerSettings* settings, const std::string& name, const std::string& text,
                      std::string* why) {
  const Setting* setting = findSetting(name);
  if (!setting) {
    *why = "there is no such setting";
    return false;
  }
  if (setting->text) return setText(settings, *setting, text, why);
  if (setting->flag) {
    if (text != "yes" && text != "no") {
      *why = "must be yes or no";
      return false;
    }
    settings->*setting->flag = text == "yes";
    return true;
  }
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    *why = "must be a number of seconds from 0 to 4294967295";
    return false;
  }
  settings->*setting->number = number;
  return true;
}

std::string serverSettingText(const ServerSettings& settings, const std::string& name) {
  const Setting* setting = findSetting(name);
  if (setting->text) return settings.*setting->text;
  if (setting->flag) return settings.*setting->flag ? "yes" : "no";
  return std::to_string(settings.*setting->number);
}

ServerSettings overlay(const ServerSettings& base, const std::map<std::string, std::string>& kept,
                       std::vector<std::string>* skipped) {
  ServerSettings settings = base;
  std::string why;
  for (const auto& [name, text] : kept) {
    if (!setServerSetting(&settings, name, text, &why)) skipped->push_back(name);
  }
  return settings;
}

}  // namespace manager
