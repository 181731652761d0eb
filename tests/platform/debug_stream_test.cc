// The debug objects, and how a program directs them.

#include "platform/debug_stream.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "host/debug.h"

namespace {

// Taken while this program's statics are made, which is when another static might write a line.
struct AtStart {
  std::ostream* stream = tdout;
  bool usable = tdout != nullptr && tdout->rdbuf() != nullptr;
  int flags = tdoutEnabled + tdoutSwitch;
};

const AtStart atStart;

TEST(DebugStream, IsReadyBeforeMain) {
  EXPECT_EQ(atStart.stream, &std::clog);
  EXPECT_TRUE(atStart.usable);
}

TEST(DebugStream, IsOffAtStart) { EXPECT_EQ(atStart.flags, 0); }

TEST(DebugStream, GoesToStandardErrorUnlessDirected) {
  testing::internal::CaptureStderr();
  *tdout << "a line" << std::endl;
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a line\n");
}

TEST(DebugStream, CanBeDirectedAndBack) {
  std::ostringstream lines;
  platform::setDebugStream(&lines);
  *tdout << "here";
  platform::setDebugStream(nullptr);
  EXPECT_EQ(lines.str(), "here");
  EXPECT_EQ(tdout, &std::clog);
}

TEST(DebugStream, DirectingLeavesTheMutexFree) {
  platform::setDebugStream(nullptr);
  ASSERT_EQ(pthread_mutex_trylock(&DOUTMutex), 0);
  EXPECT_EQ(pthread_mutex_unlock(&DOUTMutex), 0);
}

TEST(DebugStream, SwitchSetsBothFlags) {
  platform::switchDebug(true);
  EXPECT_NE(tdoutEnabled, 0);
  EXPECT_NE(tdoutSwitch, 0);
  platform::switchDebug(false);
  EXPECT_EQ(tdoutEnabled, 0);
  EXPECT_EQ(tdoutSwitch, 0);
}

}  // namespace
