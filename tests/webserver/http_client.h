// A raw HTTP client: what is sent is the test's to write, byte for byte.

#ifndef TESTS_WEBSERVER_HTTP_CLIENT_H_
#define TESTS_WEBSERVER_HTTP_CLIENT_H_

#include <cstddef>
#include <string>

struct HttpAnswer {
  int status = 0;    // 0: the connection ended, or was silent for 20 s, before a whole answer
  std::string head;  // status line and fields, each with its line end
  std::string body;
  bool has(const std::string& line) const { return head.find(line + "\r\n") != std::string::npos; }
};

class HttpClient {
 public:
  // `from`: the client's own address on the loopback net.
  explicit HttpClient(unsigned port, const std::string& from = "127.0.0.1");
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  // False when nobody let it in.
  bool connected() const { return socket_ >= 0; }
  // False when the connection is broken.
  bool send(const std::string& bytes) const;
  // The next answer; `head`: it has no body whatever it says.
  HttpAnswer answer(bool head = false);
  // Takes so many bytes of what comes, whatever they are. False when there are not as many.
  bool skip(std::size_t bytes);
  // Takes what comes up to the end of this text. False when it does not come.
  bool hear(const std::string& text);
  // The server has closed the connection (waits up to 20 s), and sent nothing more.
  bool ended();
  // Nothing has come, nor has the connection ended, within so many milliseconds.
  bool silentFor(int ms) const;
  void shutdownWrite() const;

  // send() and answer() of a GET with a Host that is the server's own.
  HttpAnswer get(const std::string& target);

 private:
  bool more();

  int socket_ = -1;
  std::string input_;
};

// A GET over a connection of its own.
HttpAnswer fetch(unsigned port, const std::string& target);

// "GET target HTTP/1.1" with a Host that is the server's own, and more fields.
std::string getText(const std::string& target, const std::string& fields = "");

#endif  // TESTS_WEBSERVER_HTTP_CLIENT_H_
