// The servlet module: a shared object that exports createServlet (host/servlet.h).

#ifndef WEBSERVER_MODULE_H_
#define WEBSERVER_MODULE_H_

#include <memory>

#include "host/servlet.h"
#include "webserver/config.h"

namespace web {

// Whether the module can be loaded and has its entry; nothing stays loaded. Throws ConfigError.
void checkModule(const Config& config);

// Loads the module and makes its servlet. Deleting that runs its virtual destructor; the module
// itself stays, since its exit handlers still have to run. Throws ConfigError.
std::unique_ptr<Servlet> loadServlet(const Config& config);

}  // namespace web

#endif  // WEBSERVER_MODULE_H_
