// The seam to whoever knows the accounts.

#ifndef MANAGER_AUTHENTICATOR_H_
#define MANAGER_AUTHENTICATOR_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "manager/challenges.h"
#include "manager/failures.h"
#include "manager/records.h"

namespace manager {

struct Credentials {
  std::string account;                // the user name, with "@" and the domain when one was given
  std::string password;               // in plain text or as a CHAP answer
  std::vector<Challenge> challenges;  // that a CHAP answer may answer
  bool overHttps = false;
  bool plainAllowed = false;  // the password may have come in plain text
  std::uint32_t clientAddress = 0;
  std::string clientMac;
  std::string radiusAttributes;  // that the client's page sent, encoded
};

struct Verdict {
  // Set when the login is refused.
  std::optional<Failure> failure;
  // The refusal shows that name and password do not belong together: it counts as a guess.
  bool wasGuess = false;
  // Otherwise: the account as it was checked, how ("http-chap", "http-plain"), and attributes for
  // the pages.
  User account;
  bool byChap = false;
  std::string radiusAttributes;
};

class Authenticator {
 public:
  virtual ~Authenticator() = default;

  // Loop thread only. Checks the credentials and calls `done` once on the loop thread: within this
  // call when the answer is at hand, later when it has to be waited for. Never blocks. Where memory
  // is missing `done` goes (on the loop thread, too) without a call; or this throws, with no call
  // later.
  virtual void check(const Credentials& credentials, std::function<void(Verdict)> done) = 0;

  // The account as it is now; nothing when there is none. Storage thread only, within a
  // CommitQueue's work; throws StoreError.
  virtual std::optional<User> account(const std::string& name) = 0;
};

}  // namespace manager

#endif  // MANAGER_AUTHENTICATOR_H_
