#include "tests/manager/bench.h"

#include <crypt.h>
#include <gtest/gtest.h>

#include "manager/admin_protocol.h"
#include "manager/password.h"

namespace {

const char* const kHeading =
    "IP address       HW type     Flags       HW address            Mask     Device\n";

manager::Ledger& started(manager::Ledger& ledger) {
  ledger.start();
  return ledger;
}

}  // namespace

Bench::Parts::Parts(Bench& bench)
    : store(bench.dir.file("db")),
      ledger(store, bench.clock, enforcer, bench.base, bench.maxSessions),
      view(bench.clock, enforcer),
      queue(loop, started(ledger), view),
      users(loop, queue, store),
      clerk(ledger, users),
      neighbours(bench.clock, bench.dir.file("arp")),
      portal(view, queue, clerk, users, neighbours, bench.guessesPerMinute),
      admin(ledger, queue, enforcer) {}

Bench::Bench() { parts = std::make_unique<Parts>(*this); }

void Bench::restart() {
  parts.reset();
  parts = std::make_unique<Parts>(*this);
}

void Bench::onStorage(std::function<void()> run) {
  bool ran = false;
  parts->queue.submit({std::move(run), [&](const manager::Outcome& outcome) {
                         EXPECT_FALSE(outcome.failure) << outcome.reason;
                         ran = true;
                       }});
  runUntil([&] { return ran; });
}

void Bench::sweep() {
  bool swept = false;
  parts->queue.sweep([&](const manager::Outcome& outcome) {
    EXPECT_FALSE(outcome.failure) << outcome.reason;
    swept = true;
  });
  runUntil([&] { return swept; });
}

void Bench::settle() {
  parts->queue.finish();
  parts->ledger.settle();
}

void Bench::runUntil(const std::function<bool()>& isDone) {
  // A password hash is checked on another thread: its answer is worth waiting for.
  const auto work = boost::asio::make_work_guard(parts->loop);
  parts->loop.restart();
  while (!isDone() && parts->loop.run_one_for(std::chrono::seconds(20)) != 0) {
  }
}

nv::message Bench::await(
    const std::function<void(std::function<void(const nv::message&)>)>& receive) {
  nv::message reply;
  bool answered = false;
  receive([&](const nv::message& message) {
    reply = message;
    answered = true;
  });
  runUntil([&] { return answered; });
  EXPECT_TRUE(answered) << "no answer";
  return reply;
}

nv::message Bench::ask(const nv::message& request) {
  return await([&](auto respond) { parts->portal.receive(request, respond); });
}

nv::message Bench::login(const LoginFields& fields, std::uint32_t client) {
  return ask(loginOf(fields, client));
}

nv::message Bench::chapLogin(const std::string& user, const std::string& password,
                             std::uint32_t client) {
  const std::string challenge = challengeOf(login({}, client));
  return login({.user = user, .password = manager::chapAnswer(challenge, password)}, client);
}

nv::message Bench::command(std::uint32_t command, std::uint32_t client) {
  return ask(commandOf(command, client));
}

nv::message Bench::askAdmin(const std::string& verb, const nlohmann::json& arguments) {
  return await(
      [&](auto respond) { parts->admin.receive(adminOf(verb, arguments.dump()), respond); });
}

nlohmann::json Bench::admin(const std::string& verb, const nlohmann::json& arguments) {
  const nv::message reply = askAdmin(verb, arguments);
  EXPECT_EQ(errorText(reply), "");
  return nlohmann::json::parse(reply.get_string(manager::admin::kResult, "null"));
}

void Bench::addUser(const std::string& name, const std::string& password,
                    const nlohmann::json& more) {
  nlohmann::json arguments = more;
  arguments["name"] = name;
  arguments["password"] = password;
  admin("user.add", arguments);
}

std::vector<manager::Session> Bench::storedSessions() {
  std::vector<manager::Session> sessions;
  parts->store.loadSessions(
      [&](manager::Session session) { sessions.push_back(std::move(session)); });
  return sessions;
}

void Bench::addHashedUser(const std::string& name, const std::string& password) {
  // The least cost that yescrypt has, so that the test is quick.
  char salt[CRYPT_GENSALT_OUTPUT_SIZE];
  ASSERT_NE(crypt_gensalt_rn("$y$", 1, nullptr, 0, salt, sizeof salt), nullptr);
  const auto data = std::make_unique<crypt_data>();
  admin("user.add",
        {{"name", name}, {"password-hash", crypt_r(password.c_str(), salt, data.get())}});
}

void Bench::setMac(const std::string& address, const std::string& mac) {
  neighbours_[address] = mac;
  std::string text = kHeading;
  for (const auto& [ip, hardware] : neighbours_) text += ip + " 0x1 0x2 " + hardware + " * eth0\n";
  dir.write("arp", text);
}
