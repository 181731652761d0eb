// Is this the account's password? Comparisons take the same time whatever the answer.

#ifndef MANAGER_PASSWORD_H_
#define MANAGER_PASSWORD_H_

#include <string>
#include <vector>

#include "manager/challenges.h"

namespace manager {

// True for what a CHAP answer looks like: 32 hexadecimal digits in either case.
bool looksLikeChap(const std::string& text);

// The CHAP answer (RFC 1994) to a challenge, in lower-case hexadecimal: MD5 of the identifier, the
// password and the challenge.
std::string chapAnswer(const Challenge& challenge, const std::string& password);

// True when `answer` is the right one to one of the challenges.
bool chapMatches(const std::string& answer, const std::string& password,
                 const std::vector<Challenge>& challenges);

bool plainMatches(const std::string& given, const std::string& password);

// Checks against a crypt(5) hash. Takes a tenth of a second and more: never on the loop thread.
// False also when the hash is malformed. Any thread.
bool hashMatches(const std::string& given, const std::string& hash);

// Nobody's hash: what a check against an account costs that does not exist. Of the cost that
// hotspotctl gives every hash it makes (crypt_gensalt's default).
inline constexpr const char* kNobodysHash =
    "$y$j9T$QxtSVjiUjQTB76/ThignN0$KGYdkRLir6CxQvQtxZjJDnN9XZp9Fy1mNn/Q3umMkvB";

// True when `text` is a yescrypt hash that this system's crypt(3) can check.
bool isUsableHash(const std::string& text);

}  // namespace manager

#endif  // MANAGER_PASSWORD_H_
