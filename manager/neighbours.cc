#include "manager/neighbours.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>
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
  const std::int64_t now = clock_.uptimeSecs();
  std::unordered_map<std::uint32_t, std::string> macs;
  errno = 0;
  std::ifstream file(path_);
  // Without a table clients are told apart by their addresses alone. A login must not bind its
  // session to no device because there was no descriptor left for a moment.
  if (!file && errno != ENOENT && errno != ENOTDIR && errno != EACCES) fail();
  // Nor because memory was missing, or the file broken: streams keep that to themselves otherwise.
  file.exceptions(std::ios::badbit);
  std::string line;
  std::getline(file, line);  // the heading
  while (std::getline(file, line)) {
    std::istringstream words(line);
    words.exceptions(std::ios::badbit);
    std::string ip, type, flags, mac;
    std::uint32_t address = 0;
    if (!(words >> ip >> type >> flags >> mac) || !parseAddress(ip, &address)) continue;
    if ((std::strtoul(flags.c_str(), nullptr, 16) & kComplete) == 0) continue;
    const std::string text = normalMac(mac);
    if (!text.empty()) macs[address] = text;
  }
  macs_ = std::move(macs);
  readAt_ = now;
}

void Neighbours::fail() const {
  throw std::system_error(errno, std::generic_category(), "neighbour table " + path_);
}

}  // namespace manager
