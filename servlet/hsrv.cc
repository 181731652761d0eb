#include "servlet/hsrv.h"

#include <cstdlib>
#include <new>
#include <ostream>

#include "host/request.h"
#include "host/response.h"
#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"

HSrv* hsServlet;

Servlet* createServlet() {
  if (hsServlet == nullptr) {
    hsServlet = ::new (std::malloc(sizeof(HSrv))) HSrv();
  }
  return hsServlet;
}

HSrv::HSrv() { DebugOut() << "HSrv created" << std::endl; }

HSrv::~HSrv() = default;

void HSrv::operator delete(void* storage) { std::free(storage); }

bool HSrv::isDirectory() { return true; }

void HSrv::doMethod(Context& ctx, const Request& req, Response& resp) {
  // A request that names another host was meant for another site, unless the host marks it.
  const bool isLocal = !req.foreignDst || (req.connFlags & kConnServeLocal) != 0;
  if (req.isSsl && !isLocal) {
    resp.keepAlive = false;
    resp.reusable = false;
  }
  HsConn conn{ctx, req, resp};
  conn.serve(isLocal);
}
