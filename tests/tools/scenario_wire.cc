#include "tests/tools/scenario_wire.h"

#include <algorithm>
#include <cctype>

#include "webserver/http_response.h"

namespace {

// Takes a few bytes at a time, so that the writer has to come back.
class Wire : public web::Transport {
 public:
  std::string bytes;

  web::Io read(char*) override { return {web::Io::kEnd}; }
  bool holdsBack() const override { return false; }
  web::Io write(const iovec* parts, int count) override {
    constexpr std::size_t kAtOnce = 1000;
    std::size_t taken = 0;
    for (int i = 0; i < count && taken < kAtOnce; ++i) {
      const std::size_t length = std::min(parts[i].iov_len, kAtOnce - taken);
      bytes.append(static_cast<const char*>(parts[i].iov_base), length);
      taken += length;
    }
    return {web::Io::kBytes, taken};
  }
  void finish() override {}
};

}  // namespace

std::string wireBytes(const Json& scenario, const Json& result) {
  web::HttpResponse response;
  response.start();
  response.setStatus(result["status"], fromJsonBytes(result["reason"]));
  for (const Json& header : result["headers"]) {
    response.headers.addHeader(fromJsonBytes(header[0]), fromJsonBytes(header[1]), false);
  }
  *response.getBufferedOutput(true) << fromJsonBytes(result["body"]);
  const Json& error = result["sendError"];
  if (!error.is_null()) response.sendError(error[0], fromJsonBytes(error[1]));
  response.keepAlive = result["keepAlive"][0];
  response.reusable = result["keepAlive"][1];

  web::AnswerTo to;
  to.intercepted = scenario["request"].value("foreignDst", false);
  response.compose(to);
  Wire wire;
  if (response.write(wire).kind != web::Io::kBytes) return "";
  return wire.bytes;
}

WireAnswer takeApart(const std::string& bytes) {
  WireAnswer answer;
  std::size_t at = 0;
  for (bool first = true;; first = false) {
    const std::size_t end = bytes.find("\r\n", at);
    if (end == std::string::npos) return answer;
    const std::string line = bytes.substr(at, end - at);
    at = end + 2;
    if (line.empty()) break;
    if (first) {
      answer.statusLine = line;
      continue;
    }
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos) return answer;
    answer.fields.emplace_back(line.substr(0, colon), line.substr(colon + 2));
  }
  answer.body = bytes.substr(at);
  answer.whole = !answer.statusLine.empty();
  return answer;
}
