// Memory that runs out at any point of a request: that request fails or is answered as ever,
// nothing of it stays behind, and the next one is right.

#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "host/radius.h"
#include "host/servlet.h"
#include "platform/debug_stream.h"
#include "tests/support/alloc_fault.h"
#include "tests/support/fake_host.h"
#include "tests/support/messages.h"
#include "tests/support/page_dir.h"
#include "vars/env_writer.h"

namespace {

using fake::AllocWatch;
using fake::Reply;

struct Scenario {
  const char* what;
  const char* body;  // what the client reads when nothing fails
  void (*prepare)(fake::FakeRequest& req, Reply& reply);
};

constexpr Scenario kFailedLogin = {
    "failed login", "flogin anna: &lt;anna&gt; refused (user-session-limit)",
    [](fake::FakeRequest& req, Reply& reply) {
      req.path = "a long directory name, longer than a short string/login";
      req.method = kMethodPost;
      req.body = "username=a+long+user+name+that+is+no+short+string&password=secret&domain=d";
      req.query = "popup=true&target=another+long+target+directory+name&x=%41";
      req.headers.addHeader("Cookie", "loginID=42", false);
      req.headers.addHeader("User-Agent", "a browser with a long name/1.0 (and more)", false);
      reply.error(6, "<$(username)> refused").text(0x20000001, "anna");
    }};

constexpr Scenario kScenarios[] = {
    kFailedLogin,
    {"login", "alogin anna http://redirection.test/after-login",
     [](fake::FakeRequest& req, Reply& reply) {
       req.path = "login";
       req.query = "dst=http%3A%2F%2Fa.destination.test%2Fwith%2Fa%2Fpath&username=anna";
       const std::string url = "http://redirection.test/after-login";
       radius::Packet radius;
       radius.add(14122, 4, url.data(), static_cast<unsigned>(url.size()));
       reply.flag(0x451, true).u32(0x080003ec, 4242).u32(0x0800041c, 3600).text(0x20000001, "anna");
       reply.raw(0x30000439, radius.bytes).raw(0x3000000b, {1, 2, 3, 4, 5, 6});
     }},
    {"intercepted", "redirect http://portal.test/login?dst=http%3A%2F%2Fintercepted.test%2Fpath",
     [](fake::FakeRequest& req, Reply& reply) {
       req.path = "/path";
       req.foreignDst = true;
       req.dstHost = "intercepted.test";
       req.connFlags = 0x08000000;
       reply.text(0x2000044e, "portal.test");
     }},
    {"file", "body { background: url(logo-of-the-hotspot.png) }",
     [](fake::FakeRequest& req, Reply&) { req.path = "/style.css"; }},
    {"file that is not there", "",
     [](fake::FakeRequest& req, Reply&) { req.path = "/no/such/file/of/this/long/name.html"; }},
    {"dots", "", [](fake::FakeRequest& req, Reply&) { req.path = "/a/../long/path/to/refuse"; }},
    {"refused method", "", [](fake::FakeRequest& req, Reply&) { req.method = 9; }},
    {"page message", "error a message of a manager, which fills in anna and is not short",
     [](fake::FakeRequest& req, Reply& reply) {
       req.path = "help.html";
       reply.error(1, "broken").text(0x20000001, "anna");
       reply.text(0x20000454,
                  "a message of a manager, which fills in $(username) and is not short");
     }},
};

void writePages(const fake::PageDir& pages) {
  pages.write("flogin.html", "flogin $(username): $(error) ($(error-type))");
  pages.write("alogin.html", "alogin $(if username == 'anna')anna$(endif) $(link-redirect)");
  pages.write("redirect.html", "redirect $(link-redirect)");
  pages.write("error.html", "error $(error)");
  pages.write("style.css", "body { background: url(logo-of-the-hotspot.png) }");
}

// A debug stream that takes no memory.
class Discard : public std::streambuf {
 public:
  Discard() : stream_(this) {
    platform::setDebugStream(&stream_);
    platform::switchDebug(true);
  }
  ~Discard() override {
    platform::switchDebug(false);
    platform::setDebugStream(nullptr);
  }

 protected:
  std::streamsize xsputn(const char*, std::streamsize length) override { return length; }
  int_type overflow(int_type c) override { return c; }

 private:
  std::ostream stream_;
};

struct Outcome {
  bool failed = false;  // the allocation that was to fail was asked for
  bool threw = false;
  long leaked = 0;
  char body[512] = {};
};

// One request whose n-th allocation fails.
Outcome attempt(const Scenario& scenario, const std::string& pages, long n) {
  Servlet* const servlet = createServlet();
  Outcome outcome;
  const AllocWatch watch;
  {
    fake::FakeContext ctx;
    fake::FakeRequest req;
    fake::FakeResponse resp;
    {
      Reply reply;
      reply.text(0x2000044d, pages);
      scenario.prepare(req, reply);
      ctx.replies.push_back(reply);
    }
    AllocWatch::failNth(n);
    try {
      servlet->doMethod(ctx, req, resp);
    } catch (const std::bad_alloc&) {
      outcome.threw = true;
    }
    outcome.failed = AllocWatch::failed();
    AllocWatch::failNth(0);
    const std::string text = resp.buffered.text() + resp.direct.text();
    text.copy(outcome.body, sizeof outcome.body - 1);
  }
  outcome.leaked = AllocWatch::live();
  return outcome;
}

int openDescriptors() {
  DIR* const directory = opendir("/proc/self/fd");
  int count = 0;
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

bool isMapped(const std::string& path) {
  std::FILE* const maps = std::fopen("/proc/self/maps", "r");
  char line[4096];
  bool found = false;
  while (std::fgets(line, sizeof line, maps) != nullptr) {
    found = found || std::strstr(line, path.c_str()) != nullptr;
  }
  std::fclose(maps);
  return found;
}

// First in the file: here the table of the errors' names has yet to be built, in a request that
// fails at each of its allocations.
// What a map of all the variables without values takes: a node each, and the names that are no
// short strings.
long allocationsOfTheVariables() {
  const auto isLong = [](std::string_view name) { return name.size() > std::string().capacity(); };
  return std::ssize(kReplyVars) +
         std::count_if(std::begin(kReplyVars), std::end(kReplyVars), isLong);
}

// What stays is built once, by the first request that needs it.
TEST(OutOfMemory, TablesAreBuiltWholeOrNotAtAll) {
  const fake::PageDir pages;
  writePages(pages);
  int variables = 0;
  int errors = 0;
  for (long n = 1;; ++n) {
    const Outcome outcome = attempt(kFailedLogin, pages.path(), n);
    if (outcome.leaked == allocationsOfTheVariables()) {
      ++variables;
    } else if (outcome.leaked != 0) {
      // The names of the errors that are no short strings.
      ++errors;
      EXPECT_LE(outcome.leaked, 17) << n;
    }
    if (outcome.failed) continue;
    EXPECT_STREQ(outcome.body, kFailedLogin.body);
    break;
  }
  EXPECT_LE(variables, 1);
  EXPECT_LE(errors, 1);
}

TEST(OutOfMemory, RequestFailsOrIsAnsweredAsEverAndLeavesNothing) {
  for (const bool debug : {false, true}) {
    for (const Scenario& scenario : kScenarios) {
      SCOPED_TRACE(scenario.what);
      const fake::PageDir pages;
      writePages(pages);
      const std::unique_ptr<Discard> stream = debug ? std::make_unique<Discard>() : nullptr;
      // Builds what lasts longer than a request.
      ASSERT_STREQ(attempt(kFailedLogin, pages.path(), 0).body, kFailedLogin.body);
      const int descriptors = openDescriptors();
      long n = 1;
      for (;; ++n) {
        const Outcome outcome = attempt(scenario, pages.path(), n);
        ASSERT_EQ(outcome.leaked, 0) << "allocation " << n;
        ASSERT_EQ(openDescriptors(), descriptors) << "allocation " << n;
        ASSERT_FALSE(isMapped(pages.path())) << "allocation " << n;
        if (!outcome.failed) break;
        // Never half of a page.
        if (!outcome.threw) {
          EXPECT_STREQ(outcome.body, scenario.body) << "allocation " << n;
        }
        const Outcome next = attempt(scenario, pages.path(), 0);
        ASSERT_FALSE(next.threw);
        ASSERT_STREQ(next.body, scenario.body) << "behind allocation " << n;
      }
      EXPECT_GT(n, 1);
    }
  }
}

}  // namespace
