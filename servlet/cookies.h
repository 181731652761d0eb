// The cookie that a browser keeps between logins (RFC 6265). Free functions; any thread.

#ifndef SERVLET_COOKIES_H_
#define SERVLET_COOKIES_H_

#include <cstdint>
#include <string>

class Request;

// Name of the cookie whose value is the number that the hotspot manager hands out.
constexpr char kLoginCookie[] = "loginID";

// The decoded value of cookie `name` in a "cookie" header; empty when it is there without a value,
// `def` when it is not there. The name is compared exactly. Any header text.
std::string getCookie(const std::string& header, const std::string& name, std::string def);

// The value of a "Set-Cookie" header: the value URL-escaped, an expiry date `maxAge` seconds from
// now unless that is 0, a path unless that is empty, nothing else. Example: "loginID=42;
// expires=Mon, 16-Nov-2026 09:00:00 GMT; path=/login".
std::string createCookie(std::string name, const std::string& value, unsigned int maxAge,
                         const std::string& path);

// The number in the request's login cookie; 0 when there is none or it is not a number.
std::uint32_t getCookieId(const Request& req);

#endif  // SERVLET_COOKIES_H_
