#include "tools/hotspot_replay_module.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace replay {
namespace {

// What follows the name in a mangled name, for the string type of this program's own C++ library. A
// function whose parameters do not show that type carries it as a tag.
#define HOTSPOT_REPLAY_STRING "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#define HOTSPOT_REPLAY_TAG "B5cxx11"

constexpr Formatter kFormatters[] = {
    {"bin2oct", HOTSPOT_REPLAY_STRING, Formatter::kText},
    {"num2str", HOTSPOT_REPLAY_TAG "jPKc", Formatter::kU32AndFormat},
    {"ull2str", HOTSPOT_REPLAY_TAG "y", Formatter::kU64},
    {"fixString", HOTSPOT_REPLAY_STRING, Formatter::kText},
    {"doEscapeString", "RK" HOTSPOT_REPLAY_STRING, Formatter::kTextReference},
    {"xmlEscapeString", "RK" HOTSPOT_REPLAY_STRING, Formatter::kTextReference},
    {"getTimeStr", HOTSPOT_REPLAY_TAG "j", Formatter::kU32},
    {"getDateTimeStr", HOTSPOT_REPLAY_TAG "j", Formatter::kU32},
    {"getNiceBytes", HOTSPOT_REPLAY_TAG "y", Formatter::kU64},
};

#undef HOTSPOT_REPLAY_TAG
#undef HOTSPOT_REPLAY_STRING

std::string mangledName(const Formatter& formatter) {
  return "_Z" + std::to_string(formatter.name.size()) + std::string(formatter.name) +
         std::string(formatter.signature);
}

void* findSymbol(void* library, const std::string& name) {
  void* symbol = dlsym(library, name.c_str());
  if (symbol == nullptr) throw std::runtime_error("the module does not export " + name);
  return symbol;
}

template <typename... Arguments>
std::string callSymbol(void* symbol, Arguments... arguments) {
  return reinterpret_cast<std::string (*)(Arguments...)>(symbol)(arguments...);
}

}  // namespace

const Formatter* findFormatter(std::string_view name) {
  for (const Formatter& formatter : kFormatters) {
    if (formatter.name == name) return &formatter;
  }
  return nullptr;
}

void Module::CloseLibrary::operator()(void* library) const { dlclose(library); }

Module::Module(const std::string& path) : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr) {
    throw std::runtime_error(std::string("the module cannot be loaded: ") + dlerror());
  }
  for (const Formatter& formatter : kFormatters) {
    formatters_.emplace(formatter.name, findSymbol(library_.get(), mangledName(formatter)));
  }
  void* factory = findSymbol(library_.get(), "createServlet");
  servlet_ = reinterpret_cast<Servlet* (*)()>(factory)();
  if (servlet_ == nullptr) throw std::runtime_error("the module made no servlet: " + path);
}

Module::~Module() { delete servlet_; }

std::string Module::format(const Formatter& formatter, const std::string& text,
                           std::uint64_t number, const std::string& format) const {
  void* symbol = formatters_.at(formatter.name);
  const auto u32 = static_cast<unsigned>(number);
  switch (formatter.argument) {
    case Formatter::kText:
      return callSymbol<std::string>(symbol, text);
    case Formatter::kTextReference:
      return callSymbol<const std::string&>(symbol, text);
    case Formatter::kU32:
      return callSymbol<unsigned>(symbol, u32);
    case Formatter::kU64:
      return callSymbol<unsigned long long>(symbol, number);
    case Formatter::kU32AndFormat:
      return callSymbol<unsigned, const char*>(symbol, u32, format.c_str());
  }
  return {};
}

std::string defaultModulePath() {
  const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path beside = here / "hotspot.so";
  for (const std::filesystem::path& candidate :
       {beside, here / "../lib/hotspot.so", here / "../lib/hotspot/hotspot.so"}) {
    if (std::filesystem::exists(candidate)) return candidate;
  }
  return beside;
}

}  // namespace replay
