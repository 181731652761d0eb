// What can be wrong when the manager starts: one line each, which says what, where and what to do.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "manager/database.h"
#include "tests/manager/process.h"

namespace {

class ManagerStart : public testing::Test {
 protected:
  // Starts a manager that cannot run, and gives its line.
  std::string lineOf(const std::string& database) {
    const Finished run =
        runProgram({HOTSPOT_MANAGER_PATH, "--config", dir.write("m.toml", ""), "--socket",
                    dir.file("s"), "--admin-socket", dir.file("a"), "--database", database});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.err.rfind("hotspot-manager: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(database), std::string::npos) << run.err;
    EXPECT_NE(access(dir.file("s").c_str(), F_OK), 0) << "no socket is left";
    return run.err;
  }

  TemporaryDir dir;
};

bool holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A manager listens before it has warned of what it finds, and answers afterwards.
void startAndAnswer(ManagerProcess& manager) {
  manager.start();
  ASSERT_EQ(errorText(manager.askAdmin("user.list", "{}")), "");
}

TEST_F(ManagerStart, SaysThatTheDirectoryOfTheDatabaseIsNotThere) {
  const std::string line = lineOf(dir.file("none/db"));
  EXPECT_TRUE(holds(line, "No such file or directory")) << line;
}

TEST_F(ManagerStart, SaysThatTheDatabaseIsADirectory) {
  const std::string line = lineOf(dir.file(""));
  EXPECT_TRUE(holds(line, "cannot open")) << line;
}

TEST_F(ManagerStart, SaysThatANewerVersionWroteTheDatabase) {
  manager::Database(dir.file("db")).execute("PRAGMA user_version = 99");
  const std::string line = lineOf(dir.file("db"));
  EXPECT_TRUE(holds(line, "a newer version of this program wrote it (format 99")) << line;
  EXPECT_TRUE(holds(line, "install that version again")) << line;
}

TEST_F(ManagerStart, SaysThatTheFileIsNoDatabaseAndLeavesItAlone) {
  const std::string text(8192, 'x');
  const std::string line = lineOf(dir.write("db", text));
  EXPECT_TRUE(holds(line, "not a database")) << line;
  EXPECT_TRUE(holds(line, "move it away")) << line;
  EXPECT_EQ(readFile(dir.file("db")), text);
}

TEST_F(ManagerStart, SaysThatTheDatabaseIsDamaged) {
  {
    ManagerProcess manager;
    manager.database = dir.file("db");
    manager.start();
    manager.signal(SIGTERM);
    EXPECT_EQ(manager.wait(), 0);
  }
  // The header stays; every page behind it is overwritten.
  const int file = open(dir.file("db").c_str(), O_WRONLY | O_CLOEXEC);
  struct stat status {};
  ASSERT_EQ(fstat(file, &status), 0);
  const std::string garbage(static_cast<std::size_t>(status.st_size) - 4096, '\xa5');
  ASSERT_EQ(pwrite(file, garbage.data(), garbage.size(), 4096),
            static_cast<ssize_t>(garbage.size()));
  close(file);
  const std::string line = lineOf(dir.file("db"));
  EXPECT_TRUE(holds(line, "malformed")) << line;
  EXPECT_TRUE(holds(line, "move it away")) << line;
}

TEST_F(ManagerStart, SaysThatTheSocketsDirectoryIsNotThere) {
  const std::string socket = dir.file("none/manager.sock");
  const Finished run =
      runProgram({HOTSPOT_MANAGER_PATH, "--config", dir.write("m.toml", ""), "--socket", socket,
                  "--admin-socket", dir.file("a"), "--database", dir.file("db")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(holds(run.err, socket + ": cannot listen: No such file or directory")) << run.err;
}

TEST_F(ManagerStart, WarnsOfADatabaseThatOthersMayRead) {
  ManagerProcess manager;
  startAndAnswer(manager);
  EXPECT_FALSE(holds(manager.log(), "others than its owner")) << manager.log();
  manager.kill();
  ASSERT_EQ(chmod(manager.dir.file("manager.db").c_str(), 0644), 0);
  startAndAnswer(manager);
  EXPECT_TRUE(holds(manager.log(), "manager.db: others than its owner may use it (mode 0644)"))
      << manager.log();
}

TEST_F(ManagerStart, WarnsOfANeighbourTableThatIsNotThere) {
  ManagerProcess manager;
  startAndAnswer(manager);
  EXPECT_TRUE(holds(manager.log(), "arp: No such file or directory; clients are told apart by"))
      << manager.log();
}

TEST_F(ManagerStart, GoesOnFromALogThatAKillLeftBehind) {
  ManagerProcess manager;
  manager.start();
  ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
  manager.kill();
  ASSERT_EQ(access(manager.dir.file("manager.db-wal").c_str(), F_OK), 0);
  // The last sync of a machine that lost its power may have been cut short.
  std::ofstream(manager.dir.file("manager.db-wal"), std::ios::app) << std::string(5000, '\x5a');
  manager.start();
  EXPECT_EQ(errorText(manager.askAdmin("user.show", R"({"name":"ann"})")), "");
}

}  // namespace
