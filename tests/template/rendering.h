// Renders one text through the connection object, as a page or an error text is rendered.

#ifndef TESTS_TEMPLATE_RENDERING_H_
#define TESTS_TEMPLATE_RENDERING_H_

#include <map>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/debug_stream.h"
#include "servlet/hs_conn.h"
#include "tests/support/fake_host.h"

// An output stream into a string that can be emptied and used again. Counts the writes.
class StringSink : private std::streambuf, public std::ostream {
 public:
  StringSink() : std::ostream(nullptr) { rdbuf(this); }

  std::string text;
  unsigned writes = 0;

 private:
  std::streamsize xsputn(const char* bytes, std::streamsize length) override {
    text.append(bytes, static_cast<std::size_t>(length));
    ++writes;
    return length;
  }
  std::streambuf::int_type overflow(std::streambuf::int_type c) override {
    text += std::char_traits<char>::to_char_type(c);
    ++writes;
    return c;
  }
};

// A connection whose page variables and RADIUS attributes a test sets. Debug lines are kept while
// the object lives.
struct Rendering {
  explicit Rendering(std::map<std::string, std::string> env = {}) : conn{ctx, req, resp} {
    conn.env = std::move(env);
    platform::setDebugStream(&debug);
    platform::switchDebug(true);
  }
  ~Rendering() {
    platform::switchDebug(false);
    platform::setDebugStream(nullptr);
  }
  Rendering(const Rendering&) = delete;
  Rendering& operator=(const Rendering&) = delete;

  // What the text becomes; `debug` then holds the debug line that this wrote, if any.
  const std::string& render(const std::string& text, bool esc = true) {
    out.text.clear();
    out.writes = 0;
    debug.text.clear();
    conn.useEnv(text.data(), static_cast<unsigned>(text.size()), out, esc);
    return out.text;
  }

  fake::FakeContext ctx;
  fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn;
  StringSink out;
  StringSink debug;
};

#endif  // TESTS_TEMPLATE_RENDERING_H_
