// Query and body parameters: the first line is a query, the rest a form body. The parser agrees
// with a cursor that looks at one character at a time, and a login made of both asks the manager
// once, for exactly what they say.

#include <algorithm>
#include <map>
#include <string>

#include "commands/fields.h"
#include "fuzz/check.h"
#include "servlet/hs_conn.h"
#include "servlet/hsrv.h"
#include "servlet/params.h"
#include "tests/servlet/naive_params.h"
#include "tests/support/fake_host.h"
#include "tests/support/messages.h"
#include "tests/support/page_dir.h"

namespace {

using Map = HsConn::StringMap;

constexpr std::uint32_t kPageDirectory = 0x2000044d;

std::string textOf(const Map& params) {
  std::string text;
  for (const auto& [key, value] : params) text += key + "=" + value + "\n";
  return text;
}

std::string valueOf(const Map& params, const char* key) {
  const auto found = params.find(key);
  return found == params.end() ? std::string() : found->second;
}

const std::string& pages() {
  static const fake::PageDir kDir;
  static const bool written = [] {
    kDir.write("flogin.html", "failed: $(error)");
    return true;
  }();
  fuzz::check(written, "pages can be written");
  return kDir.path();
}

void parse(const std::string& query, const std::string& body) {
  fake::FakeContext ctx;
  const fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn{ctx, req, resp};
  Map expected;
  for (const std::string& text : {body, query}) {
    conn.setQueryParams(text);
    naive::addParams(text, &expected);
    fuzz::checkEqual(textOf(conn.params), textOf(expected), "parameters are what the text says");
  }
  for (auto [key, value] : expected) {
    const std::string clean = naive::cleanDir(value);
    cleanupDir(&value);
    fuzz::checkEqual(value, clean, "a directory is cleaned as the rules say");
    fuzz::check(value.find("..") == std::string::npos, "a clean directory leads nowhere else");
  }
}

void checkLogin(const nv::message& command, const Map& params) {
  const auto user = params.find("username");
  fuzz::checkEqual(command.get_string(kFieldUser, "(none)"),
                   user != params.end() ? user->second : valueOf(params, "user"),
                   "the user name goes to the manager");
  fuzz::checkEqual(command.get_string(kFieldPassword, "(none)"), valueOf(params, "password"),
                   "the password goes to the manager");
  fuzz::checkEqual(command.get_string(kFieldDomain, "(none)"), valueOf(params, "domain"),
                   "the domain goes to the manager");
  fuzz::checkEqual(command.get_string(kFieldTargetDir, ""),
                   naive::cleanDir(valueOf(params, "target")), "the target directory is clean");
}

void visit(const std::string& query, const std::string& body) {
  static Servlet* const servlet = createServlet();
  fake::FakeContext ctx;
  fake::FakeRequest req;
  fake::FakeResponse resp;
  req.method = kMethodPost;
  req.hasRelPath = true;
  req.relPath = "login";
  req.query = query;
  req.body = body;
  ctx.replies.push_back(fake::Reply().text(kPageDirectory, pages()).error(10, "no such user"));
  servlet->doMethod(ctx, req, resp);

  if (body.size() > HsConn::kMaxPostBytes) {
    fuzz::check(ctx.commands.empty() && resp.errors.size() == 1 && resp.errors[0].first == 400,
                "a long body is refused before anybody is asked");
    return;
  }
  Map params;
  naive::addParams(body, &params);
  naive::addParams(query, &params);
  fuzz::check(ctx.commands.size() == 1, "a login asks the manager once");
  checkLogin(ctx.commands[0].fields, params);
  // A NUL ends the path for the system: the directory in front of it is no file.
  const bool cut = valueOf(params, "target").find('\0') != std::string::npos;
  if (cut && !resp.errors.empty()) {
    fuzz::check(resp.errors[0].first == 404, "what is no file is not found");
    return;
  }
  fuzz::checkEqual(resp.buffered.text() + resp.direct.text(), "failed: no such user",
                   "the page of the page directory is shown");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::textOf(data, size);
  const std::size_t line = std::min(text.find('\n'), text.size());
  const std::string query = text.substr(0, line);
  const std::string body = text.substr(std::min(line + 1, text.size()));
  parse(query, body);
  visit(query, body);
  return 0;
}
