#include "tests/support/visit.h"

#include "servlet/hsrv.h"

namespace fake {

namespace {

constexpr std::uint32_t kPageDirectory = 0x2000044d;
constexpr std::uint32_t kCommandNumber = 0x08ff0007;

}  // namespace

Visit::Visit() : servlet(createServlet()) { theSystem() = System(); }

Reply& Visit::reply() { return scripted_.emplace_back().text(kPageDirectory, pages.path()); }

void Visit::handOver() {
  for (const Reply& reply : scripted_) ctx.replies.push_back(reply);
  scripted_.clear();
}

void Visit::serve() {
  handOver();
  servlet->doMethod(ctx, req, resp);
}

HsConn Visit::connection() {
  handOver();
  HsConn conn{ctx, req, resp};
  conn.htmlDir = pages.path();
  return conn;
}

std::string Visit::body() const { return resp.buffered.text() + resp.direct.text(); }

std::vector<std::string> Visit::command(std::size_t n) const {
  return n < ctx.commands.size() ? fieldLines(ctx.commands[n].fields) : std::vector<std::string>();
}

std::vector<unsigned> Visit::commandNumbers() const {
  std::vector<unsigned> numbers;
  for (const FakeContext::Command& command : ctx.commands) {
    numbers.push_back(command.fields.get_u32(kCommandNumber, 0));
  }
  return numbers;
}

std::string Visit::commandField(std::size_t n, std::uint32_t id) const {
  if (n >= ctx.commands.size() || ctx.commands[n].fields.size_field(id) == 0) return "(none)";
  nv::message alone = ctx.commands[n].fields;
  for (const std::uint32_t other : alone.ids()) {
    if (other != id) alone.erase(other);
  }
  return fieldLines(alone).front();
}

}  // namespace fake
