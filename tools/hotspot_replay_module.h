// The built module, loaded as a web server loads it.

#ifndef TOOLS_HOTSPOT_REPLAY_MODULE_H_
#define TOOLS_HOTSPOT_REPLAY_MODULE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "host/servlet.h"

namespace replay {

// A formatting function that the module exports.
struct Formatter {
  enum Argument { kText, kTextReference, kU32, kU64, kU32AndFormat };
  std::string_view name;
  std::string_view signature;  // what follows the name in the mangled name
  Argument argument;
};

// Null when the module exports no such function.
const Formatter* findFormatter(std::string_view name);

class Module {
 public:
  // Loads the module and has it make its servlet. Throws std::runtime_error with one clear line
  // when that fails or an export is missing. One module a process.
  explicit Module(const std::string& path);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module();

  Servlet& servlet() { return *servlet_; }

  // Calls a formatting function with the argument that it takes; the others are not looked at.
  std::string format(const Formatter& formatter, const std::string& text, std::uint64_t number,
                     const std::string& format) const;

 private:
  struct CloseLibrary {
    void operator()(void* library) const;
  };

  std::unique_ptr<void, CloseLibrary> library_;
  std::map<std::string_view, void*> formatters_;
  Servlet* servlet_ = nullptr;
};

// The module that belongs to this program: beside it, in ../lib (a build tree) or in ../lib/hotspot
// (an installation). The first of these names when there is none.
std::string defaultModulePath();

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_MODULE_H_
