// The built module's symbols against the lists of what it may export and import.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "tests/module/elf_file.h"

namespace {

using Names = std::vector<std::string>;

const Names kExports = {"bin2oct",        "cmdStr",         "createServlet", "doEscapeString",
                        "fixString",      "getDateTimeStr", "getNiceBytes",  "getTimeStr",
                        "hsServlet",      "ifStr",          "num2str",       "ull2str",
                        "xmlEscapeString"};

// The C library's part, with the forms of the same calls for large files and times on machines of
// 32 bits. isalnum is not there: it would follow the host's locale.
constexpr std::string_view kCLibrary[] = {
    "stat", "stat64", "__stat64_time64", "open", "open64", "mmap", "mmap64", "munmap", "close",
    "strerror", "__errno_location", "gethostname", "gmtime_r", "__gmtime64_r", "time", "__time64",
    "strftime", "snprintf", "sscanf", "strtoul", "tolower", "malloc", "free", "atexit",
    "pthread_mutex_lock", "pthread_mutex_unlock",
    // What the compiler calls by itself.
    "memchr", "memcmp", "memcpy", "memmove", "memset", "strlen"};

// The C++ runtime's: exceptions pass through and are cleaned up after, but none is thrown
// (__cxa_throw and __cxa_allocate_exception are not here).
constexpr std::string_view kRuntime[] = {
    "__cxa_atexit",        "__cxa_begin_catch",   "__cxa_end_catch",   "__cxa_rethrow",
    "__cxa_guard_acquire", "__cxa_guard_release", "__cxa_guard_abort", "__gxx_personality_v0",
    "_Unwind_Resume",      "operator new",        "operator delete",   "operator new[]",
    "operator delete[]"};

// Beginnings of the standard library's demangled names: strings, maps, string streams, and what
// reports a length that cannot be.
constexpr std::string_view kStandardLibrary[] = {"std::__cxx11::basic_string<",
                                                 "std::__cxx11::basic_ostringstream<",
                                                 "std::__cxx11::basic_stringbuf<",
                                                 "std::basic_ostream<",
                                                 "std::ostream::",
                                                 "std::ostream& std::ostream::",
                                                 "std::basic_ios<",
                                                 "std::basic_streambuf<",
                                                 "std::ios_base::",
                                                 "std::locale::",
                                                 "std::allocator<char>::",
                                                 "std::_Rb_tree_",
                                                 "std::__throw_bad_alloc",
                                                 "std::__throw_bad_array_new_length",
                                                 "std::__throw_length_error",
                                                 "std::__throw_logic_error",
                                                 "std::__throw_out_of_range_fmt",
                                                 "VTT for std::__cxx11::basic_ostringstream<",
                                                 "vtable for std::__cxx11::basic_ostringstream<",
                                                 "vtable for std::__cxx11::basic_stringbuf<",
                                                 "vtable for std::basic_ios<",
                                                 "vtable for std::basic_streambuf<",
                                                 "vtable for __cxxabiv1::__si_class_type_info"};

// What clang compiles into the module where g++ calls the library: comparing, the end of a line,
// and what ends a program whose destructor throws.
#ifdef __clang__
constexpr std::string_view kCompilersOwn[] = {"bcmp", "std::ctype<char>::_M_widen_init() const",
                                              "std::__throw_bad_cast", "std::terminate"};
#else
constexpr std::array<std::string_view, 0> kCompilersOwn;
#endif

// The host's own: what the headers in host/ declare.
constexpr std::string_view kHost[] = {"tdout",
                                      "tdoutEnabled",
                                      "tdoutSwitch",
                                      "DOUTMutex",
                                      "methodNames",
                                      "protoNames",
                                      "getContentType",
                                      "Headers::addHeader",
                                      "Headers::getHeader",
                                      "IPAddr::str",
                                      "MacAddr::str",
                                      "Servlet::Servlet",
                                      "Servlet::~Servlet",
                                      "Servlet::isProxy",
                                      "Servlet::getPath",
                                      "Servlet::doGet",
                                      "Servlet::doHead",
                                      "Servlet::doPost",
                                      "Servlet::parseConfig",
                                      "Servlet::onNotify",
                                      "typeinfo for Servlet",
                                      "nv::getError",
                                      "nv::getUptime",
                                      "nv::isError",
                                      "nv::message::message",
                                      "nv::message::~message",
                                      "nv::message::operator=",
                                      "nv::message::get_be32",
                                      "nv::message::get_bool",
                                      "nv::message::get_raw",
                                      "nv::message::get_string",
                                      "nv::message::get_u32",
                                      "nv::message::get_u64",
                                      "nv::message::insert_be32",
                                      "nv::message::insert_bool",
                                      "nv::message::insert_raw",
                                      "nv::message::insert_string",
                                      "nv::message::insert_u32",
                                      "nv::message::insert_u32_array",
                                      "nv::message::size_field",
                                      "nv::message::size_u32",
                                      "radius::Packet::add",
                                      "radius::Packet::get"};

// What the linker adds to every shared library, to be there or not.
constexpr std::string_view kLinkersOwn[] = {
    "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable", "__gmon_start__", "__cxa_finalize"};

template <typename List>
bool holds(const List& list, const std::string& name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

bool isAllowedImport(const std::string& symbol) {
  const std::string name = plainName(symbol);
  if (holds(kCLibrary, name) || holds(kRuntime, name) || holds(kHost, name)) return true;
  if (holds(kCompilersOwn, name)) return true;
  return std::any_of(std::begin(kStandardLibrary), std::end(kStandardLibrary),
                     [&](std::string_view begin) { return name.starts_with(begin); });
}

TEST(ModuleFile, ExportsExactlyItsInterface) {
  Names names;
  for (const std::string& symbol : readElfFile(HOTSPOT_MODULE).exports) {
    names.push_back(plainName(symbol));
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, kExports);
}

TEST(ModuleFile, ImportsNothingBeyondTheLists) {
  const ElfFile module = readElfFile(HOTSPOT_MODULE);
  EXPECT_GT(module.imports.size(), 50U);
  for (const std::string& symbol : module.imports) {
    EXPECT_TRUE(isAllowedImport(symbol)) << symbol << ", " << plainName(symbol);
  }
  for (const std::string& symbol : module.weakImports) {
    EXPECT_TRUE(holds(kLinkersOwn, symbol)) << symbol << ", " << plainName(symbol);
  }
}

TEST(ModuleFile, ImportListRefusesWhatAModuleMustNotUse) {
  for (const char* symbol : {"__cxa_throw", "__cxa_allocate_exception", "pthread_create", "socket",
                             "fork", "getenv", "printf", "gmtime", "isalnum", "_ZNSt6thread4joinEv",
                             "_ZSt4cout", "_ZN2nv8setErrorEPNS_7messageEjRKSs"}) {
    EXPECT_FALSE(isAllowedImport(symbol)) << symbol;
  }
}

TEST(ModuleFile, NeedsTheLanguagesLibrariesAlone) {
  const ElfFile module = readElfFile(HOTSPOT_MODULE);
  EXPECT_FALSE(module.needed.empty());
  for (const std::string& library : module.needed) {
    const Names allowed = {"libstdc++.so", "libgcc_s.so", "libc.so", "libm.so"};
    EXPECT_TRUE(holds(allowed, library.substr(0, library.find(".so") + 3))) << library;
  }
}

TEST(ModuleFile, RunsNoConstructorAtLoad) {
  const ElfFile module = readElfFile(HOTSPOT_MODULE);
  EXPECT_EQ(module.initArrayBytes, sizeof(void*));  // the compiler's own entry
  EXPECT_FALSE(module.hasOtherConstructors);
}

// The reader itself: a program with statics to construct has more than one entry.
TEST(ModuleFile, ConstructorsOfAProgramAreSeen) {
  static const std::string constructed(100, 'x');
  EXPECT_GT(readElfFile("/proc/self/exe").initArrayBytes, sizeof(void*)) << constructed;
}

}  // namespace
