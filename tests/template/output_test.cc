// Streams that fail while a page is written: the stream is bad afterwards, and the text is read to
// its end all the same.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <new>
#include <ostream>
#include <streambuf>
#include <string>

#include "template/use_env.h"

namespace {

constexpr char kText[] = "ab$(x)cd$(x)ef";
constexpr std::size_t kBytes = sizeof kText - 1;

// Takes so many bytes, and then fails in its own way.
class Narrow : public std::streambuf {
 public:
  Narrow(std::size_t room, bool throws) : room_(room), throws_(throws) {}

  std::string text;
  unsigned refused = 0;

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize length) override {
    const std::size_t fits = std::min(static_cast<std::size_t>(length), room_ - text.size());
    text.append(bytes, fits);
    if (fits < static_cast<std::size_t>(length)) {
      ++refused;
      if (throws_) throw std::bad_alloc();
    }
    return static_cast<std::streamsize>(fits);
  }

 private:
  const std::size_t room_;
  const bool throws_;
};

// Renders the text; returns where that stopped.
std::size_t render(std::ostream& out) {
  std::map<std::string, std::string> env{{"x", "<1>"}};
  radius::Packet radius;
  const char* cursor = kText;
  useEnvR(env, radius, &cursor, kText + kBytes, &out, true);
  return static_cast<std::size_t>(cursor - kText);
}

TEST(TemplateOutput, ShortWriteEndsTheOutputAndLeavesTheStreamBad) {
  for (std::size_t room = 0; room <= 24; ++room) {
    Narrow buffer(room, false);
    std::ostream out(&buffer);
    EXPECT_EQ(render(out), kBytes);
    EXPECT_EQ(buffer.text, std::string("ab&lt;1&gt;cd&lt;1&gt;ef").substr(0, room));
    EXPECT_EQ(out.bad(), room < 24) << room;
    EXPECT_EQ(buffer.refused, room < 24 ? 1u : 0u) << room;
  }
}

TEST(TemplateOutput, ThrowingBufferEndsTheOutputAndLeavesTheStreamBad) {
  Narrow buffer(5, true);
  std::ostream out(&buffer);
  EXPECT_EQ(render(out), kBytes);
  EXPECT_EQ(buffer.text, "ab&lt");
  EXPECT_TRUE(out.bad());
  EXPECT_EQ(buffer.refused, 1u);
}

TEST(TemplateOutput, StreamThatIsToThrowPassesOnWhatItsBufferThrows) {
  Narrow buffer(5, true);
  std::ostream out(&buffer);
  out.exceptions(std::ios::badbit);
  EXPECT_THROW(render(out), std::bad_alloc);
  EXPECT_EQ(buffer.text, "ab&lt");
}

TEST(TemplateOutput, NothingIsWrittenToABadStream) {
  Narrow buffer(100, false);
  std::ostream out(&buffer);
  out.setstate(std::ios::badbit);
  EXPECT_EQ(render(out), kBytes);
  EXPECT_EQ(buffer.text, "");
}

}  // namespace
