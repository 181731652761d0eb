// The administrator's verbs for profiles.

#include "manager/admin.h"
#include "manager/admin_arguments.h"

namespace manager {

using Json = nlohmann::json;

namespace {

constexpr NumberField<Profile> kRules[] = {
    {"session-time", [](Profile& p) -> std::uint64_t& { return p.sessionTimeSecs; }},
    {"idle-timeout", [](Profile& p) -> std::uint64_t& { return p.idleTimeoutSecs; }},
    {"limit-bytes-in", [](Profile& p) -> std::uint64_t& { return p.limits.in; }},
    {"limit-bytes-out", [](Profile& p) -> std::uint64_t& { return p.limits.out; }},
    {"limit-bytes-total", [](Profile& p) -> std::uint64_t& { return p.limits.total; }},
    {"shared-users", [](Profile& p) -> std::uint64_t& { return p.sharedUsers; }},
    {"status-refresh", [](Profile& p) -> std::uint64_t& { return p.refreshSecs; }},
    {"advert-interval", [](Profile& p) -> std::uint64_t& { return p.advertIntervalSecs; }},
    {"advert-look-time", [](Profile& p) -> std::uint64_t& { return p.advertLookSecs; }},
};

constexpr std::initializer_list<const char*> kProfileKeys = {
    "name",         "session-time",   "idle-timeout",    "limit-bytes-in",   "limit-bytes-out",
    "shared-users", "status-refresh", "advert-interval", "advert-look-time", "limit-bytes-total",
    "advert-urls"};

// Durations go out as 32-bit numbers.
constexpr std::uint64_t kMaxDurationSecs = 0xffffffff;

constexpr std::size_t kMaxUrls = 32;
constexpr std::size_t kMaxUrlBytes = 1024;

bool isWebAddress(const std::string& url) {
  if (url.size() > kMaxUrlBytes) return false;
  if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) return false;
  for (const char c : url) {
    if (c <= ' ' || c == 0x7f || c == '"' || c == '<' || c == '>' || c == '\\') {
      return false;
    }
  }
  return true;
}

void takeUrls(Profile* profile, const Json& arguments) {
  if (!arguments.contains("advert-urls")) return;
  const Json& urls = arguments["advert-urls"];
  if (!urls.is_array() || urls.size() > kMaxUrls) {
    throw AdminRefusal("advert-urls must be an array of at most " + std::to_string(kMaxUrls));
  }
  profile->advertUrls.clear();
  for (const Json& url : urls) {
    if (!url.is_string() || !isWebAddress(url.get<std::string>())) {
      throw AdminRefusal(
          "an address in advert-urls must begin with http:// or https://, have at "
          "most 1024 bytes, and hold no blanks, quotes, backslashes or angle brackets");
    }
    profile->advertUrls.push_back(url.get<std::string>());
  }
}

void takeRules(Profile* profile, const Json& arguments) {
  setNumbers(profile, kRules, arguments);
  for (const std::uint64_t secs :
       {profile->sessionTimeSecs, profile->idleTimeoutSecs, profile->refreshSecs,
        profile->advertIntervalSecs, profile->advertLookSecs}) {
    if (secs > kMaxDurationSecs) throw AdminRefusal("a time must be at most 4294967295 seconds");
  }
  takeUrls(profile, arguments);
}

Json profileJson(const Profile& profile) {
  Json shown = {{"name", profile.name}, {"advert-urls", profile.advertUrls}};
  showNumbers(profile, kRules, &shown);
  return shown;
}

Profile profileOf(const Ledger& ledger, const Json& arguments) {
  const std::string name = textArgument(arguments, "name");
  const Profile* profile = ledger.findProfile(name);
  if (!profile) throw AdminRefusal("there is no profile \"" + name + "\"");
  return *profile;
}

}  // namespace

Json Admin::addProfile(const Json& arguments) {
  onlyKeys(arguments, kProfileKeys);
  Profile profile;
  profile.name = textArgument(arguments, "name");
  checkName(profile.name, "a profile's name");
  if (ledger_.findProfile(profile.name)) {
    throw AdminRefusal("there is a profile \"" + profile.name + "\" already");
  }
  takeRules(&profile, arguments);
  ledger_.putProfile(profile);
  return profileJson(profile);
}

Json Admin::setProfile(const Json& arguments) {
  onlyKeys(arguments, kProfileKeys);
  Profile profile = profileOf(ledger_, arguments);
  takeRules(&profile, arguments);
  ledger_.putProfile(profile);
  return profileJson(profile);
}

Json Admin::removeProfile(const Json& arguments) {
  onlyKeys(arguments, {"name"});
  const Profile profile = profileOf(ledger_, arguments);
  if (profile.name == kDefaultProfile || profile.name == kTrialName) {
    throw AdminRefusal("the profile \"" + profile.name + "\" cannot be removed");
  }
  const std::int64_t users = ledger_.store().countUsersOfProfile(profile.name);
  if (users != 0) {
    throw AdminRefusal("the profile \"" + profile.name + "\" is in use by " +
                       std::to_string(users) + " users");
  }
  ledger_.removeProfile(profile.name);
  return {{"removed", profile.name}};
}

Json Admin::listProfiles(const Json& arguments) {
  onlyKeys(arguments, {"after"});
  const std::map<std::string, Profile>& profiles = ledger_.profiles();
  Json rows = Json::array();
  std::size_t bytes = 0;
  // Addresses make a profile long: as many rows as surely fit a message.
  constexpr std::size_t kMaxBytes = std::size_t{24} * 1024;
  auto at = profiles.upper_bound(textArgument(arguments, "after", ""));
  std::string last;
  for (; at != profiles.end() && bytes < kMaxBytes; ++at) {
    rows.push_back(profileJson(at->second));
    bytes += rows.back().dump().size();
    last = at->first;
  }
  return rowsReply(std::move(rows), at != profiles.end() ? Json(last) : Json());
}

Json Admin::showProfile(const Json& arguments) {
  onlyKeys(arguments, {"name"});
  return profileJson(profileOf(ledger_, arguments));
}

}  // namespace manager
