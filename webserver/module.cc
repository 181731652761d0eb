#include "webserver/module.h"

#include <dlfcn.h>

namespace web {
namespace {

using CreateServlet = Servlet* (*)();

[[noreturn]] void fail(const Config& config, const std::string& why) {
  throw ConfigError(config.where("module") + ": cannot load the servlet module: " + why);
}

const char* lastError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

void* open(const Config& config) {
  void* handle = dlopen(config.module.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) fail(config, lastError());
  return handle;
}

CreateServlet findEntry(const Config& config, void* handle) {
  void* entry = dlsym(handle, "createServlet");
  if (entry == nullptr) fail(config, lastError());
  return reinterpret_cast<CreateServlet>(entry);
}

}  // namespace

void checkModule(const Config& config) {
  void* handle = open(config);
  findEntry(config, handle);
  dlclose(handle);
}

std::unique_ptr<Servlet> loadServlet(const Config& config) {
  std::unique_ptr<Servlet> servlet(findEntry(config, open(config))());
  if (servlet == nullptr) fail(config, config.module + ": createServlet gives no servlet");
  return servlet;
}

}  // namespace web
