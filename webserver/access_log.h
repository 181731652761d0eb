// One line for each request:
//
//   2026-01-31T12:00:00.123+00:00 10.5.50.2 https "GET /login HTTP/1.1" 200 5312 840us
//
// time, client, scheme, request line, status ("-" when the module dropped the connection), bytes of
// the body, time from the end of the header to the answer. The query is left out, since it may hold
// a password; what is not plain ASCII is written as \xHH.

#ifndef WEBSERVER_ACCESS_LOG_H_
#define WEBSERVER_ACCESS_LOG_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

namespace web {

class AccessLog {
 public:
  struct Entry {
    std::uint32_t clientAddr = 0;  // network byte order
    bool tls = false;
    std::string_view method;  // empty when the request line could not be read
    std::string_view target;
    bool http11 = false;
    int status = 0;  // 0: dropped
    std::size_t bodyBytes = 0;
    std::chrono::microseconds took{0};
  };

  // Appends to a file; "-" is standard output, "" nothing at all. Throws std::runtime_error with
  // one line of what is wrong.
  explicit AccessLog(const std::string& path);
  ~AccessLog();

  // One write(2). Any thread; never throws.
  void write(const Entry& entry);

  // The entry's line without its time.
  static std::string format(const Entry& entry);

 private:
  std::shared_ptr<spdlog::logger> logger_;
};

}  // namespace web

#endif  // WEBSERVER_ACCESS_LOG_H_
