#include "webserver/own_names.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>
#include <memory>
#include <new>

#include "platform/ascii.h"

namespace web {
namespace {

constexpr std::uint32_t kLoopbackNet = 127;

bool toAddress(const std::string& text, std::uint32_t* address) {
  in_addr parsed{};
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) return false;
  *address = parsed.s_addr;
  return true;
}

}  // namespace

OwnNames::OwnNames(const Config& config) {
  for (const std::string& name : config.serverNames) {
    std::string lower;
    for (const char c : name) lower.push_back(ascii::toLower(c));
    names_.insert(lower);
  }
  for (const ListenConfig& listen : config.listen) {
    std::uint32_t address = 0;
    if (!toAddress(listen.address, &address)) continue;
    if (address == INADDR_ANY) {
      anyAddress_ = true;
    } else {
      addresses_.insert(address);
    }
  }
  refresh();
}

void OwnNames::refresh() {
  ifaddrs* list = nullptr;
  if (!anyAddress_ || getifaddrs(&list) != 0) return;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
  try {
    std::set<std::uint32_t> machine;
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
      if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET) continue;
      sockaddr_in address{};
      std::memcpy(&address, each->ifa_addr, sizeof address);
      machine.insert(address.sin_addr.s_addr);
    }
    machine_.swap(machine);
  } catch (const std::bad_alloc&) {
    return;  // the addresses as they were will do until the next time
  }
}

bool OwnNames::has(std::string_view host, std::uint32_t localAddr) const {
  if (!host.empty() && host.back() == '.') host.remove_suffix(1);
  std::string lower;
  lower.reserve(host.size());
  for (const char c : host) lower.push_back(ascii::toLower(c));
  if (names_.find(lower) != names_.end()) return true;
  std::uint32_t address = 0;
  if (!toAddress(lower, &address)) return false;
  if (address == localAddr || addresses_.count(address) > 0) return true;
  return anyAddress_ && (machine_.count(address) > 0 || ntohl(address) >> 24 == kLoopbackNet);
}

}  // namespace web
