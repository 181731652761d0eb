// Passwords: from a terminal, a pipe or the command line, in plain text or as a hash.

#ifndef TOOLS_HOTSPOTCTL_PASSWORD_H_
#define TOOLS_HOTSPOTCTL_PASSWORD_H_

#include <string>

namespace hotspotctl {

// Asks for the password, twice and without echo, where standard input is a terminal; else its first
// line is the password. Throws Failure when there is none or the two differ.
std::string readPassword();

// The yescrypt hash of a password (crypt(5)), with a random salt. Throws Failure.
std::string hashPassword(const std::string& password);

}  // namespace hotspotctl

#endif  // TOOLS_HOTSPOTCTL_PASSWORD_H_
