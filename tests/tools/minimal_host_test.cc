// The host of docs/embedding.md serves a page, and the page shows the code that is built.

#include <gtest/gtest.h>

#include "tests/tools/program.h"

namespace {

Ended visit(const ScratchDir& pages, const std::string& page) {
  const ScratchDir tmp;
  return runProgram({TEST_MINIMAL_HOST, TEST_MODULE, pages.path().string() + "/", page}, "",
                    tmp.path());
}

TEST(MinimalHost, ServesAPage) {
  const ScratchDir pages;
  pages.write("status.html", "<p>$(if logged-in == yes)in$(else)out$(endif), $(ip), $(link-login)");
  const Ended ended = visit(pages, "status");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out,
            "HTTP/1.1 200 OK\r\nCache-Control: no-cache\r\nContent-Type: text/html\r\n"
            "Connection: keep-alive\r\n\r\n<p>out, 10.5.50.2, http://portal.example/login");
}

TEST(MinimalHost, AnswersForAPageThatIsNotThere) {
  const ScratchDir pages;
  const Ended ended = visit(pages, "absent.gif");
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "HTTP/1.1 404 \r\nConnection: keep-alive\r\n\r\n");
}

TEST(MinimalHost, IsShownWholeInItsDocumentation) {
  const std::string code = readFile(TEST_SOURCE_DIR "/tests/tools/minimal_host.cc");
  const std::string page = readFile(TEST_SOURCE_DIR "/docs/embedding.md");
  EXPECT_NE(page.find("```cpp\n" + code + "```\n"), std::string::npos)
      << "docs/embedding.md shows another program than tests/tools/minimal_host.cc";
}

}  // namespace
