// What a web server calls in a plug-in module. The order of the virtual operations is the
// interface: the web server calls through it.

#ifndef HOST_SERVLET_H_
#define HOST_SERVLET_H_

#include <string>

namespace xml {
class Node;  // the host's configuration tree; modules that read none need no more than the name
}

namespace nv {
class message;
}

class Context;
class Request;
class Response;

class Servlet {
 public:
  Servlet();
  Servlet(const Servlet&) = delete;
  Servlet& operator=(const Servlet&) = delete;
  virtual ~Servlet();

  // True when the servlet answers for every path below its mount point. The base says false.
  virtual bool isDirectory();
  // True when the servlet answers requests for other hosts as a proxy. The base says false.
  virtual bool isProxy();
  // The mount point.
  virtual std::string getPath();

  // One operation a method, for servlets that tell them apart; the base answers 405.
  virtual void doGet(Context& ctx, const Request& req, Response& resp);
  virtual void doHead(Context& ctx, const Request& req, Response& resp);
  virtual void doPost(Context& ctx, const Request& req, Response& resp);
  // The entry for every request, on any of the host's threads, several at once. The base chooses
  // one of the three above by Request::method.
  virtual void doMethod(Context& ctx, const Request& req, Response& resp);

  // Configuration of the mount, before the first request, and messages that nobody asked for. The
  // base ignores both.
  virtual void parseConfig(const xml::Node& config);
  virtual void onNotify(const nv::message& msg, unsigned int source);

 private:
  std::string path_;
};

// Exported by a module under its plain name: the module's one servlet, made at the first call.
// Called once, before any request. The host deletes the servlet through its virtual destructor.
extern "C" Servlet* createServlet();

#endif  // HOST_SERVLET_H_
