// A servlet that tells in a header field what reached it, so that an answer to HEAD tells it too.
// It reads the body of every request whose path does not begin with "/unread".

#include <cstdio>
#include <string>
#include <string_view>

#include "host/context.h"
#include "host/request.h"
#include "host/response.h"
#include "host/servlet.h"

namespace {

constexpr unsigned kMaxBody = 1000000;
constexpr std::size_t kMaxTold = 10000;  // of each text

// Printable ASCII without '"' and '\' stays; any other byte becomes \xHH.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text.substr(0, kMaxTold)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x1f && byte < 0x7f && c != '"' && c != '\\') {
      result.push_back(c);
      continue;
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02x", byte);
    result += code;
  }
  return result;
}

class SeenServlet : public Servlet {
 public:
  bool isDirectory() override { return true; }

  void doMethod(Context&, const Request& request, Response& response) override {
    std::string body;
    if (request.path.rfind("/unread", 0) != 0 && !request.readPostData(body, kMaxBody)) {
      return response.sendError(400, "");
    }
    std::string host = "-";
    request.getDstHost(host);
    response.headers.addHeader("X-Seen",
                               '"' + escaped(request.path) + "\" \"" + escaped(request.query) +
                                   "\" \"" + escaped(host) + "\" \"" + escaped(body) + '"',
                               true);
  }
};

}  // namespace

extern "C" Servlet* createServlet() { return new SeenServlet; }
