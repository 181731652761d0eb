// The servlet class and the module's exports.

#ifndef SERVLET_HSRV_H_
#define SERVLET_HSRV_H_

#include <cstddef>

#include "host/servlet.h"

// The hotspot's servlet. It has no state of its own: what a request needs lives in an HsConn on the
// stack of doMethod, which may therefore run on several threads at once.
class HSrv : public Servlet {
 public:
  // Writes the debug line "HSrv created".
  HSrv();
  ~HSrv() override;

  // Always true: the servlet answers for every path below its mount point.
  bool isDirectory() override;

  // The one request entry, whatever the method. Never throws by itself; out of memory
  // (std::bad_alloc) passes through it, with everything of the request released.
  void doMethod(Context& ctx, const Request& req, Response& resp) override;

  // The servlet's storage comes from malloc, so the deleting destructor gives it back to free.
  static void operator delete(void* storage);
};

// The one servlet: null when the module is loaded, set by the first createServlet() and never
// reset, not even when the host deletes the servlet at unload.
extern HSrv* hsServlet;

#endif  // SERVLET_HSRV_H_
