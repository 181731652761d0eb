#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "tests/webserver/certificate.h"
#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

// Both ways to find a mistake: the check, and the start.
void expectRefused(ServerProcess& server, const std::string& toml, const std::string& error,
                   bool onlyAtStart = false) {
  server.settings(toml);
  for (const bool check : {true, false}) {
    if (check && onlyAtStart) continue;
    std::ofstream(server.file("err"), std::ios::trunc).close();
    std::vector<std::string> options{"--config", server.file("web.toml")};
    if (check) options.push_back("--check-config");
    EXPECT_EQ(server.runToEnd(options), 1) << toml;
    const std::string log = server.log();
    EXPECT_NE(log.find(error), std::string::npos) << toml << "gives: " << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
  }
}

TEST(StartUp, MistakesAreOneLineAndStatusOne) {
  ServerProcess server;
  writeCertificate("a", server.file("a.pem"), server.file("a.key"));
  writeCertificate("b", server.file("b.pem"), server.file("b.key"));
  const std::string tls = "[[listen]]\nport = 0\ntls = true\n";
  const auto pair = [&](const std::string& certificate, const std::string& key) {
    return "certificate = \"" + server.file(certificate) + "\"\nkey = \"" + server.file(key) +
           "\"\n" + tls;
  };
  expectRefused(server, "nonsense = 1\n", "web.toml:3: nonsense: no such setting");
  expectRefused(server, "workers = \"2\"\n", "web.toml:3: workers: has to be an integer");
  expectRefused(server, "workers = \n", "web.toml:3: not valid TOML");
  expectRefused(server, "user = \"no-such-user\"\n", "web.toml:3: user: there is no user");
  expectRefused(server, pair("none.pem", "a.key"), "web.toml:3: certificate: cannot use ");
  expectRefused(server, pair("a.pem", "none.key"), "web.toml:4: key: cannot use ");
  expectRefused(server, pair("a.pem", "a.pem"), "web.toml:4: key: cannot use ");
  expectRefused(server, pair("a.pem", "b.key"), "is not the key of ");
  expectRefused(server, "access-log = \"/dev/null/x\"\n", ": access-log: ");
  expectRefused(server, "[[listen]]\naddress = \"192.0.2.1\"\nport = 0\n",
                "this machine has no such address", true);
}

TEST(StartUp, ModuleThatIsMissingOrNoneIsNamed) {
  ServerProcess server;
  for (const char* module : {"/nonexistent/module.so", "/dev/null"}) {
    std::ofstream(server.file("err"), std::ios::trunc).close();
    EXPECT_EQ(server.runToEnd({"--module", module, "--listen", "127.0.0.1:0"}), 1);
    EXPECT_NE(server.log().find("--module: cannot load the servlet module: "), std::string::npos)
        << server.log();
    EXPECT_NE(server.log().find(module), std::string::npos);
  }
}

TEST(StartUp, PortThatIsTakenIsNamed) {
  ServerProcess first;
  first.start();
  ServerProcess second;
  expectRefused(second, "[[listen]]\nport = " + std::to_string(first.port()) + "\n",
                "web.toml:3: [[listen]]: cannot listen on 127.0.0.1:" +
                    std::to_string(first.port()) + ": Address already in use",
                true);
}

TEST(StartUp, CheckOfGoodSettingsOpensNothing) {
  ServerProcess first;
  first.start();
  ServerProcess second;
  second.settings("[[listen]]\nport = " + std::to_string(first.port()) + "\n");
  EXPECT_EQ(second.runToEnd({"--config", second.file("web.toml"), "--check-config"}), 0);
  EXPECT_EQ(second.output(), "the settings are right\n");
}

TEST(StartUp, HelpAndVersionEndWithZero) {
  ServerProcess server;
  EXPECT_EQ(server.runToEnd({"--help"}), 0);
  EXPECT_NE(server.output().find("--max-waiting"), std::string::npos);
  EXPECT_EQ(server.runToEnd({"--version"}), 0);
  EXPECT_NE(server.output().find("hotspot-web 0."), std::string::npos);
}

TEST(StartUp, WorkersBecomeTheUser) {
  if (geteuid() != 0) {
    ServerProcess server;
    expectRefused(server, "user = \"root\"\n", "web.toml:3: user: only root can become");
    return;
  }
  ServerProcess server;
  server.settings("workers = 1\nuser = \"nobody\"\n");
  // The build tree may be root's alone.
  namespace fs = std::filesystem;
  const std::string module = server.file("servlet.so");
  fs::copy_file(TEST_SERVLET, module);
  for (const std::string& path : {module, server.file(".")}) {
    fs::permissions(path, fs::perms(0755));
  }
  server.start({"--module", module});
  ASSERT_EQ(fetch(server.port(), "/big?1").status, 200);
  const std::string status =
      readFile("/proc/" + std::to_string(server.workers().at(0)) + "/status");
  EXPECT_EQ(status.find("\nUid:\t0\t"), std::string::npos) << status;
  EXPECT_EQ(status.find("\nGid:\t0\t"), std::string::npos) << status;
}

}  // namespace
