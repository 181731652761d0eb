// One servlet, many threads. Build with -fsanitize=thread to have every access checked.

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

#include "tests/support/visit.h"

namespace {

using fake::Reply;

constexpr unsigned kThreads = 8;
constexpr unsigned kRounds = 100;

// Two requests in turn: a login that fails (the names of errors are asked for at once, on all
// threads, before anything else was served) and a file. Returns what was answered.
std::vector<std::string> work(Servlet* servlet, const std::string& pages, unsigned thread,
                              std::barrier<>& start) {
  std::vector<std::string> answers;
  const std::string user = "user" + std::to_string(thread);
  start.arrive_and_wait();
  for (unsigned round = 0; round < kRounds; ++round) {
    fake::FakeContext ctx;
    ctx.replies = {Reply()
                       .text(0x2000044d, pages)
                       .text(0x20000001, user)
                       .error(1 + thread, "$(username) refused")};
    fake::FakeRequest req;
    req.path = "login";
    fake::FakeResponse resp;
    servlet->doMethod(ctx, req, resp);
    answers.push_back(resp.buffered.text());

    fake::FakeContext fileCtx;
    fileCtx.replies = {Reply().text(0x2000044d, pages)};
    fake::FakeRequest fileReq;
    fileReq.path = "style.css";
    fake::FakeResponse fileResp;
    servlet->doMethod(fileCtx, fileReq, fileResp);
    answers.push_back(fileResp.direct.text());
  }
  return answers;
}

using Answers = std::vector<std::vector<std::string>>;

Answers workOnAllThreads(const fake::PageDir& pages) {
  pages.write("flogin.html", "$(username)|$(error)|$(error-type)");
  pages.write("style.css", "body {}");
  Servlet* const servlet = createServlet();
  std::barrier start(kThreads);
  Answers answers(kThreads);
  std::vector<std::thread> threads;
  for (unsigned n = 0; n < kThreads; ++n) {
    threads.emplace_back([&, n] { answers[n] = work(servlet, pages.path(), n, start); });
  }
  for (std::thread& thread : threads) thread.join();
  return answers;
}

void expectRight(const Answers& answers) {
  const char* const types[kThreads] = {"internal-error",
                                       "config-error",
                                       "not-logged-in",
                                       "ippool-empty",
                                       "shutting-down",
                                       "user-session-limit",
                                       "",
                                       "wrong-mac-username"};
  for (unsigned n = 0; n < kThreads; ++n) {
    const std::string user = "user" + std::to_string(n);
    const std::string page = user + "|" + user + " refused|" + types[n];
    ASSERT_EQ(answers[n].size(), 2 * kRounds);
    for (unsigned round = 0; round < kRounds; ++round) {
      ASSERT_EQ(answers[n][2 * round], page);
      ASSERT_EQ(answers[n][2 * round + 1], "body {}");
    }
  }
}

// With the debug stream off: nothing then puts the threads' requests in an order, so that an
// unguarded access cannot hide behind the stream's mutex.
TEST(Concurrency, RequestsOnEightThreadsDoNotSeeEachOther) {
  const fake::PageDir pages;
  expectRight(workOnAllThreads(pages));
}

TEST(Concurrency, DebugPiecesOfEightThreadsStayWhole) {
  const fake::PageDir pages;
  createServlet();
  const fake::DebugCapture debug;
  expectRight(workOnAllThreads(pages));
  // Pieces of different lines interleave, but each is whole and none is lost: "HSrv query: ", the
  // path and the end for both requests, and the four of the failure line.
  std::map<std::string, unsigned> counts;
  for (const std::string& piece : debug.pieces()) ++counts[piece];
  constexpr unsigned kEach = kThreads * kRounds;
  const std::map<std::string, unsigned> expected = {
      {"HSrv query: ", 2 * kEach}, {"login", 2 * kEach},           {"style.css", kEach},
      {" failed: ", kEach},        {"$(username) refused", kEach}, {"\n", 3 * kEach}};
  EXPECT_EQ(counts, expected);
}

}  // namespace
