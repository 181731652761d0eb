// What a request line and a Host field say of where a request is addressed to (RFC 9112
// section 3.2). Pure functions over text; any bytes; any thread.

#ifndef WEBSERVER_REQUEST_TARGET_H_
#define WEBSERVER_REQUEST_TARGET_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace web {

struct Target {
  std::string path;       // percent-decoded
  std::string query;      // as sent, without '?'
  std::string scheme;     // of an absolute URI, in lower case; otherwise empty
  std::string authority;  // of an absolute URI or of CONNECT, as sent
  bool hasAuthority = false;
};

// Takes the target of a request line apart; `method` is the method's name. False when it is
// malformed: neither of the four forms for that method, a '%' without two hexadecimal digits, or a
// NUL in the path.
bool parseTarget(std::string_view text, std::string_view method, Target* target);

// Decodes each "%XX" once. False for a bad escape and for "%00".
bool percentDecode(std::string_view text, std::string* decoded);

// Whether the text is host or host:port, with no other characters than such names have: letters,
// digits, '-', '_', '~' between single dots (one may end the name), or an IPv6 address in brackets;
// the port, if any, up to 65535.
bool validHost(std::string_view text);

// Host without its port. REQUIRES: validHost(text).
std::string_view hostName(std::string_view text);

// Host with its port unless that is empty or the usual one of the protocol (host/request.h: http
// 80, https 443, ftp 21). REQUIRES: validHost(text).
std::string_view withoutUsualPort(std::string_view text, std::uint32_t protocol);

// The index into protoNames of a scheme in lower case; 0 for one that is not there.
std::uint32_t protocolOf(std::string_view scheme);

// The index into methodNames; 0 for a name that is not there. Letter case counts.
std::uint32_t methodOf(std::string_view name);

}  // namespace web

#endif  // WEBSERVER_REQUEST_TARGET_H_
