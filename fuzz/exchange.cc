// A manager's whole exchange with hostile field values: the first line is a path and query, the
// rest the manager's reply, field by field. The module asks once and shows a page; the web server's
// own response puts it on the wire. Whatever the fields hold, the answer is well formed, plain
// references show no markup, "-esc" references nothing but escaped text, and the agent's page is
// lines.

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "commands/fields.h"
#include "fuzz/answers.h"
#include "fuzz/check.h"
#include "fuzz/field_lines.h"
#include "fuzz/pages.h"
#include "host/context.h"
#include "platform/debug_stream.h"
#include "servlet/hsrv.h"
#include "tests/support/fake_host.h"
#include "webserver/http_response.h"

namespace {

constexpr std::uint32_t kPageDirectory = 0x2000044d;
constexpr std::size_t kLongest = 32768;

class WireTransport : public web::Transport {
 public:
  web::Io read(char*) override { return {web::Io::kEnd}; }
  bool holdsBack() const override { return false; }
  web::Io write(const iovec* parts, int count) override {
    std::size_t length = 0;
    for (int i = 0; i < count; ++i) {
      wire.append(static_cast<const char*>(parts[i].iov_base), parts[i].iov_len);
      length += parts[i].iov_len;
    }
    return {web::Io::kBytes, length};
  }
  void finish() override {}

  std::string wire;
};

// Plain references: the five bytes of markup that matter in running text are escaped.
void checkPlain(const std::string& body) {
  for (std::size_t i = 0; i < body.size(); ++i) {
    fuzz::check(body[i] != '<' && body[i] != '>', "a value is no markup");
    if (body[i] != '&') continue;
    const std::string_view rest = std::string_view(body).substr(i);
    fuzz::check(rest.starts_with("&lt;") || rest.starts_with("&gt;") || rest.starts_with("&amp;"),
                "an ampersand in a value is escaped");
  }
}

// One reference a line; one that has no value on this page stays as it is written.
void checkEscaped(const std::string& body) {
  std::istringstream lines(body);
  for (std::string line; std::getline(lines, line);) {
    const bool unknown = line.starts_with("$(") && line.ends_with("-esc)");
    const std::string text = unknown ? line.substr(2, line.size() - 3) : line;
    fuzz::check(text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789.-+%") == std::string::npos,
                "an escaped value holds nothing that means something");
  }
}

void checkAgent(const std::string& body) {
  std::string before;
  std::size_t at = 0;
  while (at < body.size()) {
    const std::size_t end = body.find('\n', at);
    fuzz::check(end != std::string::npos && end > at && body[end - 1] == '\r',
                "an agent's line ends with CR LF");
    const std::string line = body.substr(at, end - 1 - at);
    const std::size_t colon = line.find(": ");
    fuzz::check(colon != std::string::npos && colon > 0 && colon + 2 < line.size(),
                "an agent's line is a name and a value");
    const std::string name = line.substr(0, colon);
    fuzz::check(before < name, "an agent's names are in order");
    before = name;
    at = end + 1;
  }
}

void checkCommand(const fake::FakeContext& context) {
  fuzz::check(context.commands.size() == 1, "a request asks the manager once");
  const nv::message& fields = context.commands[0].fields;
  const unsigned command = fields.get_u32(kFieldCommand, 0);
  fuzz::check(
      context.commands[0].timeoutMs == (command == kCmdLogin ? kLoginTimeoutMs : kCommandTimeoutMs),
      "a command has its time");
  std::vector<std::uint32_t> ids = fields.ids();
  const auto first = std::find(ids.begin(), ids.end(), kFieldManager);
  std::vector<std::uint32_t> common(first, ids.end());
  if (common.size() == 4 && common[3] == kFieldTargetDir) common.pop_back();
  fuzz::check(common == std::vector<std::uint32_t>{kFieldManager, kFieldCommand, kFieldClientAddr},
              "the common fields end a command, in their order");
}

// What each body of the request's own pages is; `name` without its query.
void checkBody(const std::string& name, const fuzz::Answer& answer) {
  if (answer.field("Content-Type") == "application/vnd.quarnett.hotspot") {
    checkAgent(answer.body);
  } else if (answer.status == 200 && name == "every.html") {
    checkPlain(answer.body);
  } else if (answer.status == 200 && name == "escaped.html") {
    checkEscaped(answer.body);
  }
}

void fillRequest(const std::string& line, fake::FakeRequest* request) {
  const std::size_t mark = std::min(line.find('?'), line.size());
  request->hasRelPath = true;
  request->relPath = line.substr(0, mark);
  request->query = line.substr(std::min(mark + 1, line.size()));
  request->dstHost = "wifi.example";
  request->isSsl = line.size() % 5 == 4;
  request->protocol = request->isSsl ? kProtoHttps : kProtoHttp;
  request->foreignDst = line.size() % 7 == 6;
  const char* const agent = line.size() % 3 == 2 ? "Quarnett Agent/1.0" : "Browser/5.0 (x)";
  request->headers.addHeader("User-Agent", agent, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  static Servlet* const servlet = createServlet();
  const std::string text = fuzz::textOf(data, size);
  const std::size_t end = std::min(text.find('\n'), text.size());
  fake::FakeContext context;
  fake::FakeRequest request;
  fillRequest(text.substr(0, end), &request);
  nv::message reply = fuzz::readFieldLines(text.substr(end));
  // A page directory of the manager's choice would be read: it is always the one of this program.
  reply.insert_string(kPageDirectory, fuzz::pageDirectory());
  context.replies.push_back(reply);

  fake::DebugCapture debug;
  web::HttpResponse response;
  response.start();
  servlet->doMethod(context, request, response);
  response.compose({});
  WireTransport transport;
  fuzz::check(response.write(transport).kind == web::Io::kBytes, "all of an answer is written");

  const std::vector<fuzz::Answer> answers = fuzz::readAnswers(transport.wire, false);
  fuzz::check(answers.size() == 1, "a request has one answer");
  const fuzz::Answer& answer = answers[0];
  fuzz::checkNothingOutside(transport.wire, text);
  const bool leaves = !request.foreignDst && request.relPath.find("..") != std::string::npos;
  fuzz::check(!leaves || (answer.status == 404 && context.commands.empty()),
              "a path that leads out is not found");
  if (leaves) return 0;
  checkCommand(context);
  fuzz::check(request.foreignDst || answer.closes() == !(response.keepAlive && response.reusable),
              "the module's word on the connection is the answer's");
  // After an error it is the error page.
  const bool isOwn = !request.foreignDst && reply.size_field(nv::kErrorCode) == 0;
  if (isOwn) checkBody(request.relPath, answer);
  return 0;
}
