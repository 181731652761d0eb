// What of a shared library the loader sees, read from the file. Of the machine's own word size and
// byte order only. See elf(5).

#ifndef TESTS_MODULE_ELF_FILE_H_
#define TESTS_MODULE_ELF_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

struct ElfFile {
  std::vector<std::string> exports;  // as in the file, without version
  std::vector<std::string> imports;  // strong ones
  std::vector<std::string> weakImports;
  std::vector<std::string> needed;  // libraries
  std::size_t initArrayBytes = 0;
  bool hasOtherConstructors = false;  // .preinit_array or .ctors
};

// Throws std::runtime_error for a file that cannot be read.
ElfFile readElfFile(const std::string& path);

// "nv::message::get_u64" of a mangled name: demangled, without arguments and ABI tags; names of C
// and of data stay. Names of templates keep all their text.
std::string plainName(const std::string& symbol);

#endif  // TESTS_MODULE_ELF_FILE_H_
