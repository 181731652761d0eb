#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <list>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

class Module : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.settings("workers = 1\n");
    server_.start();
  }
  ServerProcess server_;
};

TEST_F(Module, MayCloseTheSocketAndThenNothingIsSent) {
  for (int i = 0; i < 20; ++i) {
    HttpClient client(server_.port());
    ASSERT_EQ(client.get("/big?1").status, 200);
    ASSERT_TRUE(client.send(getText("/close") + getText("/big?1")));
    EXPECT_TRUE(client.ended());
  }
  // The numbers were given to others between the module's close and the server's own.
  EXPECT_EQ(fetch(server_.port(), "/opened").body, "60 of 60 open");
}

TEST_F(Module, LeavesNoDescriptorBehindWhateverItDoes) {
  HttpClient counter(server_.port());
  const int before = std::atoi(counter.get("/descriptors").body.c_str());
  ASSERT_GT(before, 0);
  for (int i = 0; i < 30; ++i) {
    HttpClient closed(server_.port());
    closed.send(getText("/close"));
    EXPECT_TRUE(closed.ended());
    fetch(server_.port(), "/last");
    fetch(server_.port(), "/oom");
    HttpClient(server_.port()).send("rubbish\r\n\r\n");
  }
  // Three a round are the module's own.
  EXPECT_TRUE(eventually([&] {
    return std::atoi(counter.get("/descriptors").body.c_str()) == before + 3 * 30;
  })) << counter.get("/descriptors").body
      << " after " << before;
}

TEST_F(Module, OutOfMemoryFailsItsRequestAlone) {
  HttpClient client(server_.port());
  const std::string pid = client.get("/pid").body;
  for (const char* page : {"/oom", "/long", "/throw"}) {
    EXPECT_EQ(client.get(page).status, 500) << page;
    EXPECT_EQ(client.get("/pid").body, pid) << "same process, same connection";
  }
}

TEST_F(Module, FileThatShrinksUnderItsMappingReadsAsZeros) {
  HttpClient client(server_.port());
  const std::string pid = client.get("/pid").body;
  const HttpAnswer answer = client.get("/shrunk");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, std::string(10000, '\0'));
  EXPECT_EQ(client.get("/pid").body, pid);
}

TEST_F(Module, CrashCostsItsWorkersConnectionsOnly) {
  HttpClient crash(server_.port());
  ASSERT_TRUE(crash.send(getText("/crash")));
  EXPECT_TRUE(crash.ended());
  EXPECT_EQ(fetch(server_.port(), "/big?1").status, 200);
  EXPECT_TRUE(eventually([&] {
    return server_.log().find("was ended by signal 6") != std::string::npos;
  })) << server_.log();
}

TEST(ModuleLife, EachWorkerMakesOneServletAndDeletesItThroughItsDestructor) {
  ServerProcess server;
  const std::string marks = server.file("marks");
  setenv("TEST_SERVLET_MARKS", marks.c_str(), 1);
  server.settings("workers = 2\n");
  server.start();
  unsetenv("TEST_SERVLET_MARKS");
  ASSERT_TRUE(eventually([&] { return readFile(marks) == "made\nmade\n"; })) << readFile(marks);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(fetch(server.port(), "/big?1").status, 200);
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait(), 0);
  EXPECT_EQ(readFile(marks), "made\nmade\ngone\ngone\n");
}

}  // namespace
