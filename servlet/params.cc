#include "servlet/params.h"

#include <cctype>

#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"
#include "template/escape.h"

bool HsConn::validateLocalRequest() {
  if (req.protocol != kProtoHttp && req.protocol != kProtoHttps) {
    resp.sendError(503,
                   std::string(protoNames[req.protocol]) + " protocol is not supported by hotspot");
    return false;
  }
  if (req.method == kMethodGet) return true;
  if (req.method == kMethodPost) {
    std::string body;
    if (!req.readPostData(body, kMaxPostBytes)) {
      resp.sendError(400, "can't read POST data");
      return false;
    }
    setQueryParams(body);
    return true;
  }
  resp.sendError(503, std::string(methodNames[req.method]) + " method is not supported by hotspot");
  return false;
}

void HsConn::setQueryParams(const std::string& text) {
  std::size_t pos = 0;
  for (;;) {
    const std::size_t start = text.find_first_not_of("& ", pos);
    if (start == std::string::npos) return;
    // Not bounded by '&': in "a&b=1" the key is "a&b".
    const std::size_t eq = text.find('=', start);
    if (eq == std::string::npos) return;
    std::string key(text, start, eq - start);
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const std::size_t amp = text.find('&', eq);
    const std::size_t end = amp == std::string::npos ? text.size() : amp;
    params[key] = fixString(text.substr(eq + 1, end - eq - 1));
    if (amp == std::string::npos) return;
    pos = amp;
  }
}

void cleanupDir(std::string* dir) {
  if (dir->empty()) return;
  if (dir->find("..") != std::string::npos) {
    logHackingAttempt("serve: possible hacking attempt", ", targetDir = ", *dir);
    dir->clear();
    return;
  }
  // One more than the leading slashes goes, on purpose; for a value of slashes only the position is
  // npos, npos + 1 wraps to 0 and nothing goes.
  const std::size_t first = dir->find_first_not_of('/');
  if (first != 0) dir->erase(0, first + 1);
  if (!dir->empty()) {
    const std::size_t last = dir->find_last_not_of('/');
    if (last + 1 < dir->size()) dir->erase(last + 1);
  }
  *dir += '/';
}
