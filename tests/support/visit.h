// One visit of a client: the request, the host around it, the pages, and the servlet that answers.

#ifndef TESTS_SUPPORT_VISIT_H_
#define TESTS_SUPPORT_VISIT_H_

#include <deque>
#include <string>
#include <vector>

#include "host/servlet.h"
#include "servlet/hs_conn.h"
#include "tests/support/fake_host.h"
#include "tests/support/messages.h"
#include "tests/support/page_dir.h"
#include "tests/support/system.h"

namespace fake {

// Example:
//   Visit visit;
//   visit.pages.write("login.html", "hello $(username)");
//   visit.req.path = "/login";
//   visit.reply().text(0x20000001, "anna");
//   visit.serve();
//   EXPECT_EQ(visit.body(), "hello anna");
struct Visit {
  Visit();
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  Servlet* const servlet;
  PageDir pages;
  FakeContext ctx;
  FakeRequest req;
  FakeResponse resp;
  DebugCapture debug;

  // Adds a reply that names the page directory. The reference is good until the request is served.
  Reply& reply();

  // The request through the servlet's one entry. Replies that were added since are used.
  void serve();

  // A connection object as the entry builds it, for operations below it; page files are looked for
  // in `pages`. The visit has to outlive it.
  HsConn connection();

  // What the client reads: both streams (a request writes to one of them).
  std::string body() const;
  // Fields of the n-th command, fieldLines() form; empty when there was none.
  std::vector<std::string> command(std::size_t n) const;
  // Number (0x08ff0007) of each command.
  std::vector<unsigned> commandNumbers() const;
  // The field's line in the n-th command, "(none)" when it has no such field.
  std::string commandField(std::size_t n, std::uint32_t id) const;

 private:
  void handOver();

  std::deque<Reply> scripted_;
};

}  // namespace fake

#endif  // TESTS_SUPPORT_VISIT_H_
