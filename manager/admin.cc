#include "manager/admin.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "manager/admin_arguments.h"
#include "manager/admin_protocol.h"

namespace manager {

using Json = nlohmann::json;

namespace {

nv::message refusal(std::uint32_t code, const std::string& text) {
  nv::message reply;
  nv::setError(&reply, code, text);
  return reply;
}

}  // namespace

Admin::Admin(Ledger& ledger, CommitQueue& queue, ReportedCounters& counters)
    : ledger_(ledger), queue_(queue), counters_(counters) {}

void Admin::receive(const nv::message& request, Responder respond) {
  const std::string verb = request.get_string(admin::kVerb, "");
  const std::string arguments = request.get_string(admin::kArguments, "{}");
  if (verb.empty()) return respond(refusal(admin::kErrRefused, "the message holds no verb"));
  const auto reply = std::make_shared<nv::message>();
  queue_.submit({[this, verb, arguments, reply] { *reply = answer(verb, arguments); },
                 [reply, respond = std::move(respond)](const Outcome& outcome) {
                   respond(outcome.failure ? refusal(admin::kErrStore, outcome.failure->text)
                                           : std::move(*reply));
                 }});
}

nv::message Admin::answer(const std::string& verb, const std::string& arguments) {
  try {
    const Json parsed = Json::parse(arguments, nullptr, false);
    if (!parsed.is_object()) throw AdminRefusal("the arguments are no JSON object");
    const Json result = run(verb, parsed);
    nv::message reply;
    reply.insert_string(admin::kResult,
                        result.dump(-1, ' ', false, Json::error_handler_t::replace));
    return reply;
  } catch (const AdminRefusal& error) {
    return refusal(admin::kErrRefused, error.what());
  }
}

Json Admin::run(const std::string& verb, const Json& arguments) {
  struct Entry {
    const char* verb;
    Json (Admin::*run)(const Json&);
  };
  static constexpr Entry kVerbs[] = {
      {"user.add", &Admin::addUser},          {"user.set", &Admin::setUser},
      {"user.remove", &Admin::removeUser},    {"user.list", &Admin::listUsers},
      {"user.show", &Admin::showUser},        {"profile.add", &Admin::addProfile},
      {"profile.set", &Admin::setProfile},    {"profile.remove", &Admin::removeProfile},
      {"profile.list", &Admin::listProfiles}, {"profile.show", &Admin::showProfile},
      {"session.list", &Admin::listSessions}, {"session.show", &Admin::showSession},
      {"session.end", &Admin::endSession},    {"session.report", &Admin::reportSession},
      {"cookie.list", &Admin::listCookies},   {"cookie.remove", &Admin::removeCookies},
      {"server.show", &Admin::showServer},    {"server.set", &Admin::setServer},
      {"server.unset", &Admin::unsetServer},
  };
  for (const Entry& entry : kVerbs) {
    if (verb == entry.verb) return (this->*entry.run)(arguments);
  }
  throw AdminRefusal("there is no verb \"" + verb + "\"");
}

}  // namespace manager
