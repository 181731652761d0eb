// Text forms of network addresses. Plain values; any thread.

#ifndef HOST_ADDRESS_H_
#define HOST_ADDRESS_H_

#include <cstdint>
#include <string>

// An IPv4 address as it lies in memory on the wire: the word's bytes are the four numbers from left
// to right on every machine (`s_addr` of <netinet/in.h>).
struct IPAddr {
  std::uint32_t addr = 0;

  // "10.5.50.1". Never fails.
  std::string str() const;
};

// A 6-byte Ethernet address.
struct MacAddr {
  unsigned char bytes[6] = {};

  // "00:1A:2B:3C:4D:5E", upper case. Never fails.
  std::string str() const;
};

#endif  // HOST_ADDRESS_H_
