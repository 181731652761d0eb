// Why a command fails: the code, the text for the log and for "error-orig", and the sentence for
// the page.

#ifndef MANAGER_FAILURES_H_
#define MANAGER_FAILURES_H_

#include <cstdint>

#include "manager/portal_protocol.h"

namespace manager {

// The page renders `message` with its variables, "$(username)" for one; nothing that a client sent
// may ever be put into a text here.
struct Failure {
  std::uint32_t code;
  const char* text;
  const char* message;
};

inline constexpr Failure kFailStore = {
    portal::kErrInternal, "hotspot manager cannot write its database",
    "The hotspot cannot save this at the moment. Please try again later."};
inline constexpr Failure kFailOverloaded = {
    portal::kErrInternal, "too many requests wait for the hotspot manager's database",
    "The hotspot is overloaded at the moment. Please try again in a little while."};
inline constexpr Failure kFailInternal = {portal::kErrInternal, "hotspot manager failed",
                                          "The hotspot could not do this. Please try again later."};
inline constexpr Failure kFailBusy = {
    portal::kErrInternal, "too many logins are being checked",
    "Too many people are logging in at once. Please try again in a moment."};
inline constexpr Failure kFailFull = {
    portal::kErrInternal, "the hotspot has as many sessions as it can have",
    "Too many people are logged in at the moment. Please try again later."};
inline constexpr Failure kFailNoProfile = {
    portal::kErrConfig, "the account's profile does not exist",
    "The account $(username) is not set up completely. Please ask the hotspot's owner."};
inline constexpr Failure kFailHashedChap = {
    portal::kErrConfig, "the account's password is stored hashed and cannot be checked by CHAP",
    "This account can log in over the secure (HTTPS) login page only."};
inline constexpr Failure kFailNotLoggedIn = {portal::kErrNotLoggedIn, "not logged in",
                                             "You are not logged in."};
inline constexpr Failure kFailShuttingDown = {
    portal::kErrShuttingDown, "hotspot manager is shutting down",
    "The hotspot is being restarted. Please try again in a moment."};
inline constexpr Failure kFailSessionLimit = {
    portal::kErrSessionLimit, "no more sessions are allowed for this account",
    "$(username) is logged in already, on as many devices as the account allows."};
inline constexpr Failure kFailChapMissing = {
    portal::kErrChapMissing, "a plain password is not accepted without HTTPS",
    "The password did not arrive in its protected form. Please switch on JavaScript, or use the "
    "secure (HTTPS) login page."};
inline constexpr Failure kFailChapStale = {
    portal::kErrChapMissing, "no challenge is open for this client",
    "This login page had expired. Please enter your password once more."};
// One failure for an unknown name and for a wrong password: it must not tell which names exist.
inline constexpr Failure kFailInvalidUser = {portal::kErrInvalidUser,
                                             "invalid user name or password",
                                             "The user name or the password is not right."};
inline constexpr Failure kFailUptimeLimit = {portal::kErrUptimeLimit,
                                             "the account's time is used up",
                                             "The time of the account $(username) is used up."};
inline constexpr Failure kFailTrialUsed = {
    portal::kErrUptimeLimit, "the client had its trial within the last day",
    "You have used your free trial. The next one is possible a day after the last."};
inline constexpr Failure kFailTrafficLimit = {portal::kErrTrafficLimit,
                                              "the account's traffic is used up",
                                              "The traffic of the account $(username) is used up."};
inline constexpr Failure kFailAuthInProgress = {
    portal::kErrAuthInProgress, "a login of this client is being checked",
    "Your login is being checked. Please wait a moment."};
inline constexpr Failure kFailTooManyGuesses = {
    portal::kErrAuthInProgress, "too many wrong passwords from this client",
    "There were too many wrong passwords from this device. Please wait a minute and try again."};

}  // namespace manager

#endif  // MANAGER_FAILURES_H_
