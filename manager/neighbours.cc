#include "manager/neighbours.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

#include "manager/address_text.h"

namespace manager {

namespace {

// Flag of an entry whose hardware address is known (ATF_COM of <net/if_arp.h>).
constexpr unsigned long kComplete = 0x2;

}  // namespace

Neighbours::Neighbours(const Clock& clock, std::string path)
    : clock_(clock), path_(std::move(path)) {}

std::string Neighbours::find(std::uint32_t address, bool fresh) {
  if (fresh || readAt_ != clock_.uptimeSecs()) read();
  const auto found = macs_.find(address);
  return found == macs_.end() ? std::string() : found->second;
}

void Neighbours::read() {
  macs_.clear();
  readAt_ = clock_.uptimeSecs();
  std::ifstream file(path_);
  std::string line;
  std::getline(file, line);  // the heading
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::string ip, type, flags, mac;
    std::uint32_t address = 0;
    if (!(words >> ip >> type >> flags >> mac) || !parseAddress(ip, &address)) continue;
    if ((std::strtoul(flags.c_str(), nullptr, 16) & kComplete) == 0) continue;
    const std::string text = normalMac(mac);
    if (!text.empty()) macs_[address] = text;
  }
}

}  // namespace manager
