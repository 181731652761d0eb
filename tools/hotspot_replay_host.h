// The host's side of one scripted request: what the module calls, and the record of what it did.

#ifndef TOOLS_HOTSPOT_REPLAY_HOST_H_
#define TOOLS_HOTSPOT_REPLAY_HOST_H_

#include <sys/stat.h>

#include <cstddef>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "host/context.h"
#include "host/request.h"
#include "host/response.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_scenario.h"

namespace replay {

// The hotspot manager: gives the scenario's replies in order, then stays silent.
class ScriptedContext : public Context {
 public:
  struct Command {
    unsigned timeoutMs;
    nv::message fields;
  };

  ScriptedContext(const Scenario& scenario, const PageDir& pages);

  nv::message sendRequest(nv::message& request, unsigned timeoutMs) override;

  const std::vector<Command>& commands() const { return commands_; }

 private:
  const std::vector<nv::message>& replies_;
  const PageDir& pages_;
  std::vector<Command> commands_;
};

// The client's request. Its socket is an open descriptor of its own, which the module may close.
class ScriptedRequest : public Request {
 public:
  explicit ScriptedRequest(const RequestSpec& spec);
  ScriptedRequest(const ScriptedRequest&) = delete;
  ScriptedRequest& operator=(const ScriptedRequest&) = delete;
  ~ScriptedRequest() override;

  bool getDstHost(std::string& host) const override;
  bool readPostData(std::string& body, unsigned int maxLen) const override;
  void initOrigDst() const override;

  bool socketClosed() const;
  unsigned initOrigDstCalls() const { return initOrigDstCalls_; }

 private:
  const RequestSpec& spec_;
  struct stat socketFile_ {};
  mutable unsigned initOrigDstCalls_ = 0;
};

// Both body streams are one, so that the body is in the order in which it was written.
class RecordedResponse : public Response {
 public:
  void setStatus(int code, const std::string& reason) override;
  void sendError(int status, const std::string& text) override;
  std::ostream* getBufferedOutput(bool buffered) override;
  std::ostream* getOutput() override;

  int status() const { return status_; }
  const std::string& reason() const { return reason_; }
  const std::optional<std::pair<int, std::string>>& firstError() const { return firstError_; }
  std::string body() const { return body_.str(); }

 private:
  int status_ = 200;
  std::string reason_;
  std::optional<std::pair<int, std::string>> firstError_;
  std::ostringstream body_;
};

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_HOST_H_
