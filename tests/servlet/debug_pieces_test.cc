// Debug lines and the mutex: one hold for each piece, none while the stream is off.

#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "host/debug.h"
#include "platform/debug_stream.h"
#include "servlet/debug_out.h"
#include "servlet/hsrv.h"
#include "tests/support/visit.h"
#include "tests/support/wrapped_system.h"

namespace {

using Lines = std::vector<std::string>;

// A debug stream that writes its pieces among the watched calls.
class WatchedStream : public std::streambuf {
 public:
  explicit WatchedStream(fake::CallWatch& watch) : watch_(watch), stream_(this) {
    platform::setDebugStream(&stream_);
    platform::switchDebug(true);
    watch_.calls.clear();  // the lock that setting the stream takes
  }
  ~WatchedStream() override {
    platform::switchDebug(false);
    platform::setDebugStream(nullptr);
  }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    watch_.note("'" + std::string(text, static_cast<std::size_t>(length)) + "'");
    return length;
  }
  int_type overflow(int_type c) override {
    watch_.note("end");
    return c;
  }
  int sync() override {
    watch_.note("flush");
    return 0;
  }

 private:
  fake::CallWatch& watch_;
  std::ostream stream_;
};

TEST(DebugOutput, MutexIsTakenAndReleasedForEachPiece) {
  fake::CallWatch watch;
  WatchedStream stream(watch);
  DebugOut() << "left: " << 4294967295U << std::string("!") << std::endl;
  EXPECT_EQ(watch.calls, (Lines{"lock", "'left: '", "unlock", "lock", "'4294967295'", "unlock",
                                "lock", "'!'", "unlock", "lock", "end", "flush", "unlock"}));
}

// What `work` writes is this many lines, each sent on at its end.
template <typename Work>
void expectFlushed(std::ptrdiff_t lines, const Work& work) {
  fake::CallWatch watch;
  WatchedStream stream(watch);
  work(watch);
  EXPECT_EQ(std::count(watch.calls.begin(), watch.calls.end(), "end"), lines);
  EXPECT_EQ(std::count(watch.calls.begin(), watch.calls.end(), "flush"), lines);
}

TEST(DebugOutput, EachLineIsFlushedAtItsEnd) {
  expectFlushed(1, [](fake::CallWatch&) { const HSrv servlet; });

  fake::Visit dots;
  dots.req.path = "a/../b";
  expectFlushed(1, [&](fake::CallWatch&) { dots.serve(); });

  // The rejected target, the query, the failed command, the missing page.
  fake::Visit missing;
  missing.req.path = "status";
  missing.req.query = "target=..";
  missing.reply().error(1, "broken");
  expectFlushed(4, [&](fake::CallWatch&) { missing.serve(); });

  // The query, and why there is no page.
  fake::Visit intercepted;
  intercepted.req.foreignDst = true;
  intercepted.pages.makeDirectory("rlogin.html");
  intercepted.reply();
  expectFlushed(2, [&](fake::CallWatch&) { intercepted.serve(); });

  fake::Visit files;
  files.pages.write("p.html", "$(endif)");
  HsConn conn = files.connection();
  expectFlushed(1, [&](fake::CallWatch&) { conn.showFile("p.html", ""); });
  expectFlushed(1, [&](fake::CallWatch&) { conn.showFile("..", ""); });
  expectFlushed(1, [&](fake::CallWatch& watch) {
    watch.failOpen(EACCES);
    conn.showFile("p.html", "");
  });
  expectFlushed(1, [&](fake::CallWatch& watch) {
    watch.failMmap(ENOMEM);
    conn.showFile("p.html", "");
  });
}

TEST(DebugOutput, MutexIsNotTakenWhileEitherFlagIsZero) {
  for (const auto& [enabled, switched] : {std::pair(0, 0), std::pair(0, 1), std::pair(1, 0)}) {
    fake::CallWatch watch;
    WatchedStream stream(watch);
    tdoutEnabled = enabled;
    tdoutSwitch = switched;
    DebugOut() << "text" << 5U << std::endl;
    EXPECT_EQ(watch.calls, Lines());
  }
}

TEST(DebugOutput, WholeRequestIsSilentAndLocklessWhileTheStreamIsOff) {
  fake::Visit visit;
  visit.pages.write("error.html", "$(endif)");
  visit.req.path = "a/../b";
  visit.reply().error(1, "broken");
  platform::switchDebug(false);
  fake::CallWatch watch;
  visit.serve();
  EXPECT_EQ(watch.calls, Lines());
  EXPECT_EQ(visit.resp.errors.size(), 1U);
}

// A stream whose writes fail by throwing, as one does that is out of memory.
class ThrowingStream : public std::streambuf {
 public:
  ThrowingStream() : stream_(this) {
    stream_.exceptions(std::ios::badbit);
    platform::setDebugStream(&stream_);
    platform::switchDebug(true);
  }
  ~ThrowingStream() override {
    platform::switchDebug(false);
    platform::setDebugStream(nullptr);
  }

 protected:
  std::streamsize xsputn(const char*, std::streamsize) override {
    throw std::runtime_error("full");
  }

 private:
  std::ostream stream_;
};

TEST(DebugOutput, MutexIsReleasedWhenThePieceCannotBeWritten) {
  const ThrowingStream stream;
  EXPECT_THROW(DebugOut() << "text", std::runtime_error);
  ASSERT_EQ(pthread_mutex_trylock(&DOUTMutex), 0);
  pthread_mutex_unlock(&DOUTMutex);
}

}  // namespace
