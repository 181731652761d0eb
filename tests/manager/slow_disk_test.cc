// The real manager on a disk that is slow or broken.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "manager/portal_protocol.h"
#include "tests/manager/process.h"

namespace {

namespace portal = manager::portal;

class SlowDisk : public testing::Test {
 protected:
  void SetUp() override {
    // LD_PRELOAD takes no path with a blank in it, which the build tree's may have.
    std::filesystem::create_symlink(SYNC_GATE_PATH, gate.file("gate.so"));
    manager.environment = {{"LD_PRELOAD", gate.file("gate.so")},
                           {"SYNC_GATE_DIR", gate.file("")},
                           // The preloaded library comes before a sanitizer's: it may.
                           {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
    manager.start();
    ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
    ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","shared-users":0})")),
              "");
    ASSERT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret")));
  }
  void TearDown() override { release(); }

  void hold() { gate.write("hold", ""); }
  void release() { unlink(gate.file("hold").c_str()); }
  void awaitSync() {
    for (int i = 0; i < 10000 && access(gate.file("held").c_str(), F_OK) != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(access(gate.file("held").c_str(), F_OK), 0) << "no sync came";
  }

  static nv::message logInOf(std::uint32_t client) {
    return loginOf({.user = "ann", .password = "secret", .overHttps = true}, client);
  }

  TemporaryDir gate;
  ManagerProcess manager;
};

TEST_F(SlowDisk, HoldsUpLoginsAndNothingElse) {
  hold();
  Connection waiting(manager.socket());
  waiting.send(logInOf(kOtherClient).encode());
  awaitSync();
  Connection others(manager.socket());
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(isLoggedIn(others.ask(commandOf(portal::kStatus))));
    EXPECT_FALSE(isLoggedIn(others.ask(commandOf(portal::kGet, kOtherClient))))
        << "it is not on the disk yet";
    EXPECT_EQ(errorCode(others.ask(loginOf({}, 0x7f000009))), 0u) << "the login page";
  }
  EXPECT_FALSE(waiting.hasAnswer());
  // Further logins, and a logout, wait behind it.
  Connection more(manager.socket());
  for (std::uint32_t client = 0x7f010000; client < 0x7f010004; ++client) {
    more.send(logInOf(client).encode());
  }
  more.send(commandOf(portal::kLogout).encode());
  EXPECT_TRUE(isLoggedIn(others.ask(commandOf(portal::kStatus))));
  EXPECT_FALSE(more.hasAnswer());

  release();
  const std::optional<nv::message> reply = waiting.receive();
  ASSERT_TRUE(reply);
  EXPECT_TRUE(isLoggedIn(*reply));
  for (int i = 0; i < 5; ++i) {
    const std::optional<nv::message> answer = more.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(errorText(*answer), "");
  }
  EXPECT_TRUE(isLoggedIn(others.ask(commandOf(portal::kStatus, kOtherClient))));
  EXPECT_TRUE(isLoggedIn(others.ask(commandOf(portal::kStatus, 0x7f010003))));
  EXPECT_FALSE(isLoggedIn(others.ask(commandOf(portal::kGet))));
}

TEST_F(SlowDisk, IsWaitedForAtTheEnd) {
  hold();
  Connection waiting(manager.socket());
  waiting.send(logInOf(kOtherClient).encode());
  awaitSync();
  waiting.send(commandOf(portal::kLogout).encode());
  manager.signal(SIGTERM);
  while (access(manager.socket().c_str(), F_OK) == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_FALSE(waiting.hasAnswer());
  release();
  const std::optional<nv::message> login = waiting.receive();
  ASSERT_TRUE(login);
  const bool isIn = isLoggedIn(*login);
  EXPECT_TRUE(isIn || errorCode(*login) == portal::kErrShuttingDown) << errorText(*login);
  const std::optional<nv::message> logout = waiting.receive();
  ASSERT_TRUE(logout);
  EXPECT_EQ(errorText(*logout), "");
  EXPECT_EQ(manager.wait(), 0);
  manager.start();
  EXPECT_EQ(isLoggedIn(manager.ask(commandOf(portal::kGet, kOtherClient))), isIn);
  EXPECT_FALSE(isLoggedIn(manager.ask(commandOf(portal::kGet))));
}

TEST_F(SlowDisk, ThatLosesTheManagerKeepsWhatWasAnswered) {
  hold();
  Connection waiting(manager.socket());
  waiting.send(logInOf(kOtherClient).encode());
  awaitSync();
  manager.kill();
  EXPECT_FALSE(waiting.receive()) << "never answered";
  release();
  manager.start();
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kGet))));
}

TEST_F(SlowDisk, OnWhichSyncsFailRefusesLoginsAndRecovers) {
  gate.write("fail", "");
  Connection connection(manager.socket());
  const nv::message refused = connection.ask(logInOf(kOtherClient));
  EXPECT_EQ(errorText(refused), "hotspot manager cannot write its database");
  EXPECT_FALSE(isLoggedIn(connection.ask(commandOf(portal::kGet, kOtherClient))));
  EXPECT_EQ(errorText(connection.ask(commandOf(portal::kLogout))),
            "hotspot manager cannot write its database");
  EXPECT_TRUE(isLoggedIn(connection.ask(commandOf(portal::kStatus)))) << "not logged out either";
  EXPECT_NE(manager.log().find("manager.db: cannot execute: disk I/O error (Input/output error)"),
            std::string::npos)
      << manager.log();
  unlink(gate.file("fail").c_str());
  EXPECT_TRUE(isLoggedIn(connection.ask(logInOf(kOtherClient))));
  manager.kill();
  manager.start();
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kGet, kOtherClient))));
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kGet))));
}

TEST_F(SlowDisk, OnWhichSyncsFailDoesNotKeepTheManagerFromStarting) {
  manager.kill();
  gate.write("fail", "");
  manager.start();
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus))));
  EXPECT_EQ(errorText(manager.ask(logInOf(kOtherClient))),
            "hotspot manager cannot write its database");
  EXPECT_NE(manager.log().find("starting, but nobody can log in or out: database "),
            std::string::npos)
      << manager.log();
  unlink(gate.file("fail").c_str());
  EXPECT_TRUE(isLoggedIn(manager.ask(logInOf(kOtherClient))));
}

}  // namespace
