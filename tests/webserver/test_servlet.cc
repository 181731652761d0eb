// A servlet for tests of the web server: what it does is chosen by the path. Any other path, and
// every request for another server, answers with the request as text.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include "host/address.h"
#include "host/context.h"
#include "host/debug.h"
#include "host/message.h"
#include "host/request.h"
#include "host/response.h"
#include "host/servlet.h"

namespace {

constexpr std::uint32_t kText = 0x20000001;

// Adds a line to the file that the environment names, if it does.
void leaveMark(const char* line) {
  const char* path = std::getenv("TEST_SERVLET_MARKS");
  if (path != nullptr) std::ofstream(path, std::ios::app) << line << std::flush;
}

class TestServlet : public Servlet {
 public:
  TestServlet() { leaveMark("made\n"); }
  ~TestServlet() override { leaveMark("gone\n"); }

  bool isDirectory() override { return true; }
  void doMethod(Context& context, const Request& request, Response& response) override;
};

void echo(const Request& request, Response& response) {
  std::ostream& out = *response.getBufferedOutput(true);
  std::string host = "none";
  const bool known = request.getDstHost(host);
  out << "method=" << methodNames[request.method] << "\nprotocol=" << protoNames[request.protocol]
      << "\npath=" << request.path << "\nrelPath=" << request.relPath << "\nquery=" << request.query
      << "\nclient=" << IPAddr{request.clientAddr}.str()
      << "\nlocal=" << IPAddr{request.localAddr}.str() << "\nssl=" << request.isSsl
      << "\nforeign=" << request.foreignDst << "\nhost=" << known << " " << host;
  char flags[16];
  std::snprintf(flags, sizeof flags, "%08x", request.connFlags);
  out << "\nflags=" << flags << "\n";
  if ((request.connFlags & kConnOrigDstKnown) != 0) {
    request.initOrigDst();
    out << "orig=" << IPAddr{htonl(request.origDst[0])}.str() << ":" << request.origDst[1] << "\n";
  }
  for (const auto& [name, value] : request.headers.fields()) out << name << ": " << value << "\n";
}

void ask(Context& context, const std::string& question, unsigned timeoutMs, Response& response) {
  nv::message message;
  message.insert_string(kText, question);
  const nv::message reply = context.sendRequest(message, timeoutMs);
  std::ostream& out = *response.getBufferedOutput(true);
  unsigned code = 0;
  std::string text;
  if (nv::isError(reply, &code, &text)) {
    out << "error " << code << " " << text;
  } else {
    out << "reply " << reply.get_string(kText, "");
  }
}

void readBody(const Request& request, unsigned limit, Response& response) {
  std::string body;
  if (request.readPostData(body, limit)) {
    *response.getBufferedOutput(true) << "body=" << body;
  } else {
    response.sendError(400, "can't read POST data");
  }
}

// Descriptors that were opened just after the close, so that one of them has its number.
std::vector<int> opened;

void closeSocket(const Request& request, Response& response) {
  *response.getBufferedOutput(true) << "never sent";
  close(request.socket);
  response.keepAlive = false;
  response.reusable = false;
  for (int i = 0; i < 3; ++i) opened.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

void checkOpened(Response& response) {
  int good = 0;
  for (const int descriptor : opened) good += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
  *response.getBufferedOutput(true) << good << " of " << opened.size() << " open";
}

void countDescriptors(Response& response) {
  int count = 0;
  for (int i = 0; i < 4096; ++i) count += fcntl(i, F_GETFD) >= 0 ? 1 : 0;
  *response.getBufferedOutput(true) << count;
}

// A mapped file that shrinks before it is read.
void readShrunkFile(Response& response) {
  char name[] = "/tmp/test-servlet-XXXXXX";
  const int file = mkstemp(name);
  unlink(name);
  const std::string text(10000, 'x');
  if (write(file, text.data(), text.size()) < 0) return;
  void* map = mmap(nullptr, text.size(), PROT_READ, MAP_SHARED, file, 0);
  if (ftruncate(file, 0) != 0) return;
  response.getOutput()->write(static_cast<const char*>(map),
                              static_cast<std::streamsize>(text.size()));
  munmap(map, text.size());
  close(file);
}

void addHostileHeaders(Response& response) {
  response.setStatus(302, "moved\r\nEvil-Reason: 1");
  response.headers.addHeader("Location", "http://a/\r\nEvil-Value: 1\r\n\r\n<script>", false);
  response.headers.addHeader("Evil\r\nEvil-Name", "1", false);
  response.headers.addHeader("Content-Length", 100000, false);
}

void TestServlet::doMethod(Context& context, const Request& request, Response& response) {
  const std::string& page = request.relPath;
  const std::string& query = request.query;
  const unsigned number = static_cast<unsigned>(std::strtoul(query.c_str(), nullptr, 10));
  if (tdoutEnabled != 0 && tdoutSwitch != 0) *tdout << "debug line of " << page << std::endl;
  if (request.foreignDst) return echo(request, response);
  // What is asked stands behind the time-out: "/ask?5000&anna".
  if (page == "ask") return ask(context, query.substr(query.find('&') + 1), number, response);
  if (page == "body") return readBody(request, number, response);
  if (page == "close") return closeSocket(request, response);
  if (page == "opened") return checkOpened(response);
  if (page == "descriptors") return countDescriptors(response);
  if (page == "shrunk") return readShrunkFile(response);
  if (page == "hostile") return addHostileHeaders(response);
  if (page == "error") return response.sendError(static_cast<int>(number), "<text>");
  if (page == "big") {
    const std::string text(number, 'b');
    response.getOutput()->write(text.data(), static_cast<std::streamsize>(text.size()));
    return;
  }
  if (page == "pid") {
    *response.getBufferedOutput(true) << getpid();
    return;
  }
  if (page == "last") {
    response.keepAlive = false;
    response.reusable = false;
    *response.getBufferedOutput(true) << "last";
    return;
  }
  if (page == "sleep") {
    usleep(number * 1000);
    *response.getBufferedOutput(true) << "slept";
    return;
  }
  if (page == "crash") std::abort();
  if (page == "oom") throw std::bad_alloc();
  if (page == "throw") throw 5;
  if (page == "long") {
    std::string text;
    text.reserve(text.max_size() + 1);  // throws std::length_error
    *response.getOutput() << text;
    return;
  }
  echo(request, response);
}

}  // namespace

extern "C" Servlet* createServlet() { return new TestServlet; }
