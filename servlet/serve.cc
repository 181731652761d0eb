// The dispatch of one request: what it names, and which handler answers.

#include <ostream>
#include <string>

#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"
#include "servlet/params.h"

namespace {

struct PageRow {
  char fourth;  // the name's character at index 3 chooses the row
  const char* names[3];
  void (HsConn::*handler)();
};

// Only "set" of its row can ever match: the row is chosen by the NUL behind a name of three
// characters, and "set.html" has '.' there. So the settings handler answers to the bare name alone;
// set.html is an ordinary file.
constexpr PageRow kPages[] = {
    {'i', {"login", "login.html", "login.cgi"}, &HsConn::processLogin},
    {'o', {"logout", "logout.html", "logout.cgi"}, &HsConn::processLogout},
    {'t', {"status", "status.html", "status.cgi"}, &HsConn::processStatus},
    {'e', {"advert", "advert.html", "advert.cgi"}, &HsConn::processAdvert},
    {'g', {"alogin", "alogin.html", "alogin.cgi"}, &HsConn::processALogin},
    {'\0', {"set", "set.html", "set.cgi"}, &HsConn::processSet},
};

// The handler of a page name, null for a name that is served as a file.
auto findHandler(const std::string& page) -> void (HsConn::*)() {
  if (page.size() <= 2) return nullptr;
  const char fourth = page.c_str()[3];
  for (const PageRow& row : kPages) {
    if (row.fourth != fourth) continue;
    for (const char* name : row.names) {
      if (page == name) return row.handler;
    }
    return nullptr;
  }
  return nullptr;
}

}  // namespace

void HsConn::serve(bool isLocal) {
  std::string page = req.hasRelPath ? req.relPath : req.path;
  if (!isLocal) {
    std::string host;
    req.getDstHost(host);
    DebugOut() << "HSrv query: " << host << "/" << page << std::endl;
    processUnknown(false);
    return;
  }

  if (!validateLocalRequest()) return;
  if (page.find("..") != std::string::npos) {
    logHackingAttempt("serve: possible hacking attempt", ", path = ", page);
    resp.sendError(404, "");
    return;
  }
  // Behind the body, so that a query parameter replaces a body parameter of the same name.
  setQueryParams(req.query);
  if (getEnvParam(params, "target", &targetDir)) cleanupDir(&targetDir);
  DebugOut() << "HSrv query: " << page << std::endl;

  const std::size_t slash = page.rfind('/');
  if (slash != std::string::npos) {
    if (targetDir.empty()) {
      targetDir.assign(page, 0, slash + 1);
    } else if (targetDir == "/") {
      targetDir.clear();
    }
    page.erase(0, slash + 1);
  }
  if (page.empty()) {
    processUnknown(true);
    return;
  }

  if (const auto handler = findHandler(page)) {
    (this->*handler)();
  } else if (getClInfo() != 0) {
    showPage("error", "");
  } else {
    showFile(page, "");
  }
}
