// The real manager over its sockets.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <set>

#include "manager/admin_protocol.h"
#include "manager/failures.h"
#include "manager/peer_socket.h"
#include "manager/portal_protocol.h"
#include "tests/manager/process.h"

namespace {

namespace portal = manager::portal;

class ManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    manager.start();
    addUser("ann", "secret");
  }

  void addUser(const std::string& name, const std::string& password) {
    const nv::message reply = manager.askAdmin(
        "user.add", "{\"name\":\"" + name + "\",\"password\":\"" + password + "\"}");
    ASSERT_EQ(errorText(reply), "");
  }

  nv::message command(std::uint32_t number) { return manager.ask(commandOf(number)); }

  ManagerProcess manager;
};

TEST_F(ManagerTest, AnswersEveryCommand) {
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
  EXPECT_EQ(errorCode(command(portal::kStatus)), portal::kErrNotLoggedIn);
  EXPECT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret")));
  for (const std::uint32_t number :
       {portal::kStatus, portal::kGet, portal::kAlogin, portal::kAdvert, portal::kSet}) {
    const nv::message reply = command(number);
    EXPECT_EQ(errorCode(reply), 0u) << number;
    EXPECT_TRUE(isLoggedIn(reply)) << number;
    EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann") << number;
  }
  EXPECT_EQ(errorCode(command(portal::kLogout)), 0u);
  EXPECT_FALSE(isLoggedIn(command(portal::kGet)));
  EXPECT_EQ(errorText(command(77)), "unknown command 77");
}

TEST_F(ManagerTest, EchoesTheRequestNumberAlsoInErrors) {
  nv::message request = commandOf(portal::kGet);
  request.insert_u32(portal::kRequestNumber, 0xfffffffe);
  EXPECT_EQ(manager.ask(request).get_u32(portal::kRequestNumber, 0), 0xfffffffeu);
  request.insert_u32(portal::kCommand, 77);
  EXPECT_EQ(manager.ask(request).get_u32(portal::kRequestNumber, 0), 0xfffffffeu);
  EXPECT_FALSE(command(portal::kGet).size_u32(portal::kRequestNumber));
}

TEST_F(ManagerTest, CountsTimesOnTheUptimeClock) {
  const std::uint32_t before = nv::getUptime();
  const nv::message reply = manager.chapLogin("ann", "secret");
  const std::uint32_t login = reply.get_u32(portal::kLoginTime, 0);
  EXPECT_GE(login, before);
  EXPECT_LE(login, nv::getUptime());
}

TEST_F(ManagerTest, KeepsAnAnsweredLoginOverKill) {
  ASSERT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret")));
  manager.kill();
  manager.start();
  const nv::message reply = command(portal::kStatus);
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
}

TEST_F(ManagerTest, AnswersManyRequestsOfOneConnectionEachByItsNumber) {
  Connection connection(manager.socket());
  constexpr std::uint32_t kRequests = 500;
  std::set<std::uint32_t> answered;
  for (std::uint32_t number = 0; number < kRequests; ++number) {
    nv::message request = commandOf(portal::kGet);
    request.insert_u32(portal::kRequestNumber, number);
    connection.send(request.encode());
    // The socket holds a few of them; read on before it is full.
    if (number >= 5) {
      const std::optional<nv::message> reply = connection.receive();
      ASSERT_TRUE(reply);
      answered.insert(reply->get_u32(portal::kRequestNumber, 9999));
    }
  }
  while (answered.size() < kRequests) {
    const std::optional<nv::message> reply = connection.receive();
    ASSERT_TRUE(reply);
    answered.insert(reply->get_u32(portal::kRequestNumber, 9999));
  }
  EXPECT_EQ(*answered.rbegin(), kRequests - 1);
}

TEST_F(ManagerTest, RefusesPacketsThatAreNoMessages) {
  Connection connection(manager.socket());
  const std::string good = commandOf(portal::kGet).encode();
  for (std::size_t length = 1; length < good.size(); ++length) {
    connection.send(good.substr(0, length));
    const std::optional<nv::message> reply = connection.receive();
    ASSERT_TRUE(reply) << length;
    EXPECT_EQ(errorCode(*reply), portal::kErrInternal) << length;
  }
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string changed = good;
    changed[i] = static_cast<char>(changed[i] ^ 0x80);
    connection.send(changed);
    ASSERT_TRUE(connection.receive()) << "byte " << i;
  }
  connection.send(std::string(65537, 'x'));
  ASSERT_TRUE(connection.receive());
  connection.send(std::string(100000, '\0'));
  ASSERT_TRUE(connection.receive());
  EXPECT_EQ(errorCode(connection.ask(commandOf(portal::kGet))), 0u) << "the connection goes on";
}

TEST_F(ManagerTest, SurvivesFieldsOfWrongTypesAndSizes) {
  nv::message request = commandOf(portal::kLogin);
  request.insert_string(portal::kUserName, std::string(60000, 'u'));
  request.insert_string(portal::kPassword, std::string(3000, '\0'));
  request.insert_bool(portal::kOverHttps, true);
  const nv::message reply = manager.ask(request);
  EXPECT_EQ(errorCode(reply), portal::kErrInvalidUser);
  EXPECT_FALSE(reply.size_field(portal::kUserName)) << "nothing that long is sent back";
}

TEST_F(ManagerTest, LogsRefusedLoginsInOneLineWhateverTheNameHolds) {
  const std::string name = "eve\n2026-01-01 error made up \"" + std::string(1000, 'e');
  manager.ask(loginOf({.user = name, .password = "x", .overHttps = true}));
  const std::string shown = "user=\"eve?2026-01-01 error made up ?" + std::string(34, 'e') + "\"";
  EXPECT_NE(manager.log().find("login refused address=127.0.0.2 mac= " + shown +
                               " reason=\"invalid user name or password\"\n"),
            std::string::npos)
      << manager.log();
}

TEST(ManagerLog, NamesPageDirectoryAndDestinationOfACommandAtLevelDebug) {
  ManagerProcess manager({"--log-level", "debug"});
  manager.start();
  nv::message request = commandOf(portal::kGet);
  request.insert_string(portal::kTargetDir, "lv\n/");
  request.insert_u32(portal::kOriginalAddress, 0xc0000207);
  request.insert_u32(portal::kOriginalPort, 80);
  manager.ask(request);
  manager.ask(commandOf(portal::kGet));
  EXPECT_NE(manager.log().find(" debug command 9 of 127.0.0.2 target=\"lv?/\" to=192.0.2.7:80\n"),
            std::string::npos)
      << manager.log();
  EXPECT_NE(manager.log().find(" debug command 9 of 127.0.0.2 target=\"\" to=\n"),
            std::string::npos)
      << manager.log();
}

TEST_F(ManagerTest, AllowsTenWrongPasswordsAMinuteAndSaysSo) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(errorCode(manager.chapLogin("ann", "wrong")), portal::kErrInvalidUser) << i;
  }
  EXPECT_EQ(errorCode(manager.chapLogin("ann", "secret")), portal::kErrAuthInProgress);
  EXPECT_NE(manager.log().find("warning too many wrong passwords: logins of 127.0.0.2 "),
            std::string::npos)
      << manager.log();
  EXPECT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret", kOtherClient)));
}

TEST_F(ManagerTest, OutlivesPeersThatLeaveOrDoNotRead) {
  for (int i = 0; i < 20; ++i) {
    Connection leaving(manager.socket());
    leaving.send(commandOf(portal::kGet).encode());
  }
  Connection lazy(manager.socket());
  for (int i = 0; i < 10; ++i) lazy.send(commandOf(portal::kGet).encode());
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(lazy.receive()) << i;
}

TEST_F(ManagerTest, RefusesConnectionsBeyondItsMostAndTakesOthersWhenSomeAreGone) {
  constexpr std::size_t kMost = manager::PeerSocket::kMaxConnections;
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_GE(limit.rlim_max, kMost + 100) << "this machine cannot open that many descriptors";
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, kMost + 100);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  std::vector<std::unique_ptr<Connection>> connections;
  for (std::size_t i = 0; i < kMost; ++i) {
    connections.push_back(std::make_unique<Connection>(manager.socket()));
    ASSERT_TRUE(connections.back()->connected());
  }
  EXPECT_EQ(errorCode(connections.back()->ask(commandOf(portal::kGet))), 0u);
  Connection refused(manager.socket());
  const std::optional<nv::message> refusal = refused.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(errorText(*refusal), "too many connections");
  connections.clear();
  // The manager learns of their end in its own time.
  nv::message reply;
  for (int i = 0; i < 1000 && reply.ids().empty(); ++i) {
    Connection next(manager.socket());
    if (!next.trySend(commandOf(portal::kGet).encode())) continue;
    const std::optional<nv::message> answer = next.receive();
    if (answer && errorCode(*answer) == 0) reply = *answer;
  }
  EXPECT_FALSE(reply.ids().empty());
}

TEST_F(ManagerTest, MakesItsSocketsForOwnerAndGroupOnly) {
  for (const std::string& path : {manager.socket(), manager.adminSocket()}) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660u);
  }
  for (const char* name : {"manager.db", "manager.db-wal"}) {
    struct stat status {};
    ASSERT_EQ(stat(manager.dir.file(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & 077, 0u) << "passwords are in it: " << name;
  }
}

TEST_F(ManagerTest, EndsOnSigtermWithEverythingDurable) {
  ASSERT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret")));
  manager.signal(SIGTERM);
  EXPECT_EQ(manager.wait(), 0);
  EXPECT_NE(access(manager.socket().c_str(), F_OK), 0) << "the socket files are gone";
  EXPECT_NE(access(manager.adminSocket().c_str(), F_OK), 0);
  EXPECT_NE(access(manager.dir.file("manager.db-wal").c_str(), F_OK), 0) << "checkpointed";
  manager.start();
  EXPECT_TRUE(isLoggedIn(command(portal::kGet)));
}

TEST_F(ManagerTest, OutlivesAHangup) {
  manager.signal(SIGHUP);
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
  for (int i = 0; i < 1000 && manager.log().find("read at the start alone") == std::string::npos;
       ++i) {
    usleep(10000);
  }
  EXPECT_NE(manager.log().find("read at the start alone"), std::string::npos) << manager.log();
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
}

TEST_F(ManagerTest, AnswersOnSigtermWhatItWasAsked) {
  // A password hash takes a while to check: the signal comes before its answer.
  const Finished added = manager.ctl({"user", "add", "bob", "--hash"}, "hidden\n");
  ASSERT_EQ(added.status, 0) << added.err;
  Connection connection(manager.socket());
  connection.send(loginOf({.user = "bob", .password = "hidden", .overHttps = true}).encode());
  connection.send(commandOf(portal::kGet, kOtherClient).encode());
  ASSERT_TRUE(connection.receive()) << "the second is answered first";
  manager.signal(SIGTERM);
  const std::optional<nv::message> reply = connection.receive();
  ASSERT_TRUE(reply);
  EXPECT_TRUE(isLoggedIn(*reply) || errorCode(*reply) == portal::kErrShuttingDown)
      << errorText(*reply);
  EXPECT_EQ(manager.wait(), 0);
}

TEST_F(ManagerTest, ReplacesASocketFileThatNobodyAnswersOn) {
  manager.kill();
  ASSERT_EQ(access(manager.socket().c_str(), F_OK), 0) << "a killed manager leaves it";
  manager.start();
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
}

TEST_F(ManagerTest, LeavesTheSocketOfARunningManagerAlone) {
  const Finished second =
      runProgram({HOTSPOT_MANAGER_PATH, "--config", manager.dir.write("other.toml", ""), "--socket",
                  manager.socket(), "--admin-socket", manager.dir.file("other.sock"), "--database",
                  manager.dir.file("other.db")});
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.err.find(manager.socket()), std::string::npos) << second.err;
  EXPECT_EQ(errorCode(command(portal::kGet)), 0u);
}

TEST_F(ManagerTest, LeavesAFileThatIsNoSocketAlone) {
  const std::string path = manager.dir.write("precious", "text");
  const Finished run =
      runProgram({HOTSPOT_MANAGER_PATH, "--config", manager.dir.write("other.toml", ""), "--socket",
                  path, "--admin-socket", manager.dir.file("other.sock"), "--database",
                  manager.dir.file("other.db")});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(readFile(path), "text");
}

TEST_F(ManagerTest, RefusesToShareItsDatabase) {
  const Finished second =
      runProgram({HOTSPOT_MANAGER_PATH, "--config", manager.dir.write("other.toml", ""), "--socket",
                  manager.dir.file("a.sock"), "--admin-socket", manager.dir.file("b.sock"),
                  "--database", manager.dir.file("manager.db")});
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.err.find("another process"), std::string::npos) << second.err;
}

// Connects as another user, and says what came of it: 'x' not connected, 'e' answered with an
// error, 'o' answered well.
char answerForUser(const std::string& path, uid_t user, const std::vector<gid_t>& groups) {
  int pipes[2];
  EXPECT_EQ(pipe(pipes), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    char result = 'x';
    if (setgroups(groups.size(), groups.data()) == 0 && setgid(65534) == 0 && setuid(user) == 0) {
      Connection connection(path);
      if (connection.connected()) {
        // Who is refused may be told so before there was anything to read.
        connection.trySend(commandOf(portal::kGet).encode());
        const std::optional<nv::message> reply = connection.receive();
        result = reply && errorCode(*reply) == 0 ? 'o' : 'e';
      }
    } else {
      result = '?';
    }
    _exit(write(pipes[1], &result, 1) == 1 ? 0 : 1);
  }
  waitpid(pid, nullptr, 0);
  char result = 0;
  EXPECT_EQ(read(pipes[0], &result, 1), 1);
  close(pipes[0]);
  close(pipes[1]);
  return result;
}

TEST(ManagerPeers, AreItsOwnUserRootAndTheConfiguredGroup) {
  constexpr gid_t kGroup = 54321;
  ManagerProcess manager({"--group", std::to_string(kGroup)});
  if (geteuid() != 0) {
    // Only root can give the socket a foreign group, and become another user.
    ManagerProcess own;
    own.start();
    EXPECT_EQ(errorCode(own.ask(commandOf(portal::kGet))), 0u);
    return;
  }
  manager.start();
  struct stat status {};
  ASSERT_EQ(stat(manager.socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, kGroup);
  // The file's mode refuses strangers already; opened wide, the credentials do.
  chmod(manager.dir.file("").c_str(), 0755);
  EXPECT_EQ(answerForUser(manager.socket(), 65534, {}), 'x');
  chmod(manager.socket().c_str(), 0666);
  chmod(manager.adminSocket().c_str(), 0666);
  EXPECT_EQ(answerForUser(manager.socket(), 65534, {}), 'e');
  EXPECT_EQ(answerForUser(manager.socket(), 65534, {kGroup}), 'o');
  EXPECT_EQ(answerForUser(manager.adminSocket(), 65534, {kGroup}), 'e') << "not its group";
  EXPECT_EQ(errorCode(manager.ask(commandOf(portal::kGet))), 0u);
  EXPECT_NE(manager.log().find("refused a connection of user 65534"), std::string::npos);
}

TEST(ManagerSettings, ComeFromTheFileAndAreChecked) {
  const TemporaryDir dir;
  const auto check = [&](const std::string& text) {
    return runProgram(
        {HOTSPOT_MANAGER_PATH, "--config", dir.write("m.toml", text), "--check-config"});
  };
  const Finished good = check(
      "socket = \"/tmp/x\"\ntrial = true\ncookie-lifetime = 60\nserver-address = \"10.5.50.1\"\n");
  EXPECT_EQ(good.status, 0) << good.err;
  const std::pair<const char*, const char*> wrong[] = {
      {"\nserver-address = \"10.5\"\n", "m.toml:2"},
      {"colour = \"red\"\n", "colour"},
      {"trial = \"often\"\n", "trial"},
      {"cookie-lifetime = -1\n", "cookie-lifetime"},
      {"log-level = \"loud\"\n", "log-level"},
      {"guesses-per-minute = \"few\"\n", "guesses-per-minute"},
      {"guesses-per-minute = -1\n", "guesses-per-minute"},
      {"max-sessions = 0\n", "max-sessions"},
      {"max-sessions = 16777217\n", "max-sessions"},
      {"group = \"no-such-group\"\n", "no-such-group"},
      {"html-dir = \"pages\"\n", "html-dir"},
      {"socket = \n", "m.toml:1"},
      {"socket = \"run/m.sock\"\n", "m.toml:1: socket: must be an absolute path"},
      {"database = \"\"\n", "m.toml:1: database: must be an absolute path"},
      {"database = \":memory:\"\n", "m.toml:1: database: must be an absolute path"},
      {"socket = \"/x\"\nadmin-socket = \"/x\"\n",
       "m.toml:2: admin-socket: must be another path than socket"}};
  for (const auto& [text, expected] : wrong) {
    const Finished run = check(text);
    EXPECT_NE(run.status, 0) << text;
    EXPECT_NE(run.err.find(expected), std::string::npos) << text << run.err;
  }
}

TEST(ManagerSettings, ApplyFromTheFile) {
  ManagerProcess manager({"--trial", "--server-name", "Lobby"});
  manager.start();
  const nv::message reply = manager.ask(commandOf(portal::kGet));
  EXPECT_EQ(reply.get_string(portal::kServerName, ""), "Lobby");
  EXPECT_EQ(reply.get_u32(portal::kOptionBits, 0), portal::kOptionTrial);
}

TEST(ManagerHelp, NamesItsOptionsAndVersion) {
  const Finished help = runProgram({HOTSPOT_MANAGER_PATH, "--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option : {"--socket", "--admin-socket", "--database", "--check-config"}) {
    EXPECT_NE(help.out.find(option), std::string::npos) << option;
  }
  const Finished version = runProgram({HOTSPOT_MANAGER_PATH, "--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(version.out.find("hotspot-manager "), std::string::npos);
}

TEST(ManagerSettings, MaxSessionsLimitsWhoMayLogIn) {
  ManagerProcess manager({"--max-sessions", "1"});
  manager.start();
  ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
  ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","shared-users":0})")),
            "");
  EXPECT_EQ(errorText(manager.chapLogin("ann", "secret", kClient)), "");
  EXPECT_EQ(errorText(manager.chapLogin("ann", "secret", kClient + 1)), manager::kFailFull.text);
}

}  // namespace
