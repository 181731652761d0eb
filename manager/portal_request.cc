#include "manager/portal_request.h"

#include <vector>

#include "manager/address_text.h"
#include "manager/portal_protocol.h"

namespace manager {

std::string Client::key() const { return mac.empty() ? addressText(address) : mac; }

std::string Login::account() const { return domain.empty() ? user : user + "@" + domain; }

std::string originalDestination(const nv::message& request) {
  if (!request.size_u32(portal::kOriginalAddress)) return {};
  return addressText(request.get_u32(portal::kOriginalAddress, 0)) + ":" +
         std::to_string(request.get_u32(portal::kOriginalPort, 0));
}

Login loginOf(const nv::message& request, const Client& client) {
  Login login;
  login.client = client;
  login.user = request.get_string(portal::kUserName, "");
  login.password = request.get_string(portal::kPassword, "");
  login.domain = request.get_string(portal::kDomain, "");
  login.cookieId = request.get_u32(portal::kCookieId, 0);
  login.overHttps = request.get_bool(portal::kOverHttps, false);
  const std::vector<unsigned char> attributes = request.get_raw(portal::kRadiusAttributes, {});
  login.radiusAttributes.assign(attributes.begin(), attributes.end());
  login.originalDestination = originalDestination(request);
  return login;
}

}  // namespace manager
