// The real manager on a file system of its own that is really full. Each test mounts one, in a
// mount namespace of this process: as root, or else in a user namespace too.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "manager/admin_protocol.h"
#include "manager/database.h"
#include "manager/portal_protocol.h"
#include "tests/manager/killed_load.h"
#include "tests/manager/process.h"

namespace {

namespace portal = manager::portal;

bool writeLine(const char* path, const std::string& line) {
  const int file = open(path, O_WRONLY | O_CLOEXEC);
  const bool written =
      file >= 0 && write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  if (file >= 0) close(file);
  return written;
}

// Gives this process mounts of its own; on failure says why.
std::string enterOwnMounts() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (user != 0 || unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      return std::string("unshare: ") + std::strerror(errno);
    }
    if (!writeLine("/proc/self/setgroups", "deny") ||
        !writeLine("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
        !writeLine("/proc/self/gid_map", "0 " + std::to_string(group) + " 1")) {
      return std::string("mapping this user: ") + std::strerror(errno);
    }
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return std::string("private mounts: ") + std::strerror(errno);
  }
  return {};
}

class FullDisk : public testing::Test {
 protected:
  static void SetUpTestSuite() { whyNot() = enterOwnMounts(); }
  static std::string& whyNot() {
    static std::string text;
    return text;
  }

  void SetUp() override {
    ASSERT_EQ(whyNot(), "") << "this test has to mount a file system: run it as root, or where "
                               "users may make namespaces";
    disk = manager.dir.file("disk");
    ASSERT_EQ(mkdir(disk.c_str(), 0700), 0);
    ASSERT_EQ(mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=1m,mode=0700"), 0)
        << "cannot mount a small file system: " << std::strerror(errno);
    manager.database = disk + "/manager.db";
    manager.start();
    ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
    ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","shared-users":0})")),
              "");
  }

  void TearDown() override {
    if (manager.pid() != 0) manager.kill();
    umount2(disk.c_str(), MNT_DETACH);
  }

  nv::message logIn(std::uint32_t client) {
    return manager.ask(loginOf({.user = "ann", .password = "secret", .overHttps = true}, client));
  }

  void fill() {
    const int file = open((disk + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    const std::string block(4096, 'x');
    while (write(file, block.data(), block.size()) > 0) {
    }
    EXPECT_EQ(errno, ENOSPC);
    close(file);
  }

  // Accounts, until one is refused: what was answered.
  nv::message addAccounts() {
    nv::message added;
    for (int i = 0; i < 5000 && errorCode(added) == 0; ++i) {
      const std::string name = "guest" + std::to_string(++accounts);
      added = manager.askAdmin("user.add", R"({"name":")" + name + R"(","password":"x"})");
    }
    return added;
  }

  void expectSound() {
    manager::Database db(manager.database);
    manager::Query query(db, "PRAGMA integrity_check");
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.text(0), "ok");
  }

  ManagerProcess manager;
  std::string disk;
  int accounts = 0;
};

TEST_F(FullDisk, RefusesLoginsClearlyKeepsWhatIsAndRecovers) {
  ASSERT_TRUE(isLoggedIn(logIn(kClient)));
  fill();
  // The log has some room of its own left; then no login goes any further.
  std::uint32_t client = 0x7f010000;
  nv::message reply = logIn(client);
  while (errorCode(reply) == 0 && client < 0x7f012000) reply = logIn(++client);
  EXPECT_EQ(errorCode(reply), portal::kErrInternal);
  EXPECT_EQ(errorText(reply), "hotspot manager cannot write its database");
  EXPECT_EQ(reply.get_string(portal::kPageMessage, ""),
            "The hotspot cannot save this at the moment. Please try again later.");
  EXPECT_FALSE(isLoggedIn(manager.ask(commandOf(portal::kGet, client)))) << "nor half";
  EXPECT_NE(manager.log().find("error request failed, nothing of it is kept: database " +
                               manager.database + ": cannot execute: the disk is full"),
            std::string::npos)
      << manager.log();
  // Something smaller may still have found room; not for long.
  const nv::message added = addAccounts();
  EXPECT_EQ(errorCode(added), manager::admin::kErrStore);
  EXPECT_EQ(errorText(added), "hotspot manager cannot write its database");

  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus))));
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus, client - 1))));

  // Killed on the full disk and started on it, it still knows who was in.
  manager.kill();
  expectSound();
  manager.start();
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus))));
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus, client - 1))));
  EXPECT_FALSE(isLoggedIn(manager.ask(commandOf(portal::kGet, client))));

  ASSERT_EQ(unlink((disk + "/filler").c_str()), 0);
  EXPECT_TRUE(isLoggedIn(logIn(client)));
  manager.signal(SIGTERM);
  EXPECT_EQ(manager.wait(), 0);
  expectSound();
  manager.start();
  EXPECT_TRUE(isLoggedIn(manager.ask(commandOf(portal::kStatus, client))));
}

TEST_F(FullDisk, KilledAtAnyMomentItKeepsWhatItAnswered) {
  KilledLoad load(manager, true);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // Full for two rounds, then there is room for two.
    if (round % 4 == 0) fill();
    if (round % 4 == 2) {
      ASSERT_EQ(unlink((disk + "/filler").c_str()), 0);
    }
    if (round % 4 < 2) {
      // The log has some room of its own left.
      ASSERT_EQ(errorCode(addAccounts()), manager::admin::kErrStore);
    }
    load.round();
  }
  EXPECT_GT(load.kept(), 100u) << "the manager was killed before anything happened";
  EXPECT_GT(load.refused(), 0u) << "the disk was never full";
  manager.kill();
  expectSound();
}

TEST_F(FullDisk, IsNotFilledByTheLogAlone) {
  // Many times what the disk would hold of the log, in sessions that come and go.
  for (int i = 0; i < 300; ++i) {
    const nv::message in = logIn(kClient);
    ASSERT_TRUE(isLoggedIn(in)) << i << ": " << errorText(in);
    ASSERT_EQ(errorText(manager.ask(commandOf(portal::kLogout))), "") << i;
  }
}

TEST_F(FullDisk, EndsSessionsThatAreOverAllTheSame) {
  ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","session-time":2})")),
            "");
  const nv::message in = logIn(kClient);
  ASSERT_TRUE(isLoggedIn(in));
  fill();
  while (nv::getUptime() < in.get_u32(portal::kSessionEnd, 0)) usleep(50000);
  EXPECT_FALSE(isLoggedIn(manager.ask(commandOf(portal::kGet))));
}

}  // namespace
