// Text forms of addresses, and what else of a client's goes into the log.

#ifndef MANAGER_ADDRESS_TEXT_H_
#define MANAGER_ADDRESS_TEXT_H_

#include <cstdint>
#include <string>
#include <vector>

namespace manager {

// "10.5.50.2" for 0x0a053202.
std::string addressText(std::uint32_t address);

// The other way; false, and `*address` untouched, when the text is no dotted IPv4 address.
bool parseAddress(const std::string& text, std::uint32_t* address);

// "00:1A:2B:3C:4D:5E" from six pairs of hexadecimal digits in either case with colons between them,
// the form in which MacAddr::str() writes it. Empty when the text has another form or is all zeros.
std::string normalMac(const std::string& text);

// The six bytes of a text that normalMac gave; no bytes for an empty one.
std::vector<unsigned char> macBytes(const std::string& mac);

// A client's text as it may stand in a line of the log: at most 64 bytes, control characters and
// quotes as question marks.
std::string logText(const std::string& text);

}  // namespace manager

#endif  // MANAGER_ADDRESS_TEXT_H_
