#include "tests/module/elf_file.h"

#include <cxxabi.h>
#include <elf.h>
#include <link.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

// The word size is part of the type's name, and the macros take no other form.
using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
using Symbol = ElfW(Sym);
using Dynamic = ElfW(Dyn);

// Items of type T at [offset, offset + bytes) of the file.
template <typename T>
std::vector<T> items(const std::string& file, std::size_t offset, std::size_t bytes) {
  if (offset > file.size() || bytes > file.size() - offset) {
    throw std::runtime_error("section outside the file");
  }
  std::vector<T> result(bytes / sizeof(T));
  std::memcpy(result.data(), file.data() + offset, result.size() * sizeof(T));
  return result;
}

std::string textAt(const std::string& file, std::size_t offset) {
  if (offset >= file.size()) throw std::runtime_error("text outside the file");
  return std::string(file.c_str() + offset);
}

void readSymbols(const std::string& file, const Section& table, std::size_t texts,
                 ElfFile* result) {
  for (const Symbol& symbol : items<Symbol>(file, table.sh_offset, table.sh_size)) {
    const unsigned binding = symbol.st_info >> 4;
    if (symbol.st_name == 0 || binding == STB_LOCAL) continue;
    const std::string name = textAt(file, texts + symbol.st_name);
    if (symbol.st_shndx != SHN_UNDEF) {
      result->exports.push_back(name);
    } else if (binding == STB_WEAK) {
      result->weakImports.push_back(name);
    } else {
      result->imports.push_back(name);
    }
  }
}

}  // namespace

ElfFile readElfFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string file((std::istreambuf_iterator<char>(stream)),
                         std::istreambuf_iterator<char>());
  if (file.compare(0, SELFMAG, ELFMAG) != 0) throw std::runtime_error("no ELF file: " + path);
  const Header header = items<Header>(file, 0, sizeof(Header)).at(0);
  const std::vector<Section> sections =
      items<Section>(file, header.e_shoff, header.e_shnum * sizeof(Section));
  const std::size_t names = sections.at(header.e_shstrndx).sh_offset;

  ElfFile result;
  for (const Section& section : sections) {
    if (section.sh_type == SHT_DYNSYM) {
      readSymbols(file, section, sections.at(section.sh_link).sh_offset, &result);
    } else if (section.sh_type == SHT_DYNAMIC) {
      for (const Dynamic& entry : items<Dynamic>(file, section.sh_offset, section.sh_size)) {
        if (entry.d_tag != DT_NEEDED) continue;
        result.needed.push_back(
            textAt(file, sections.at(section.sh_link).sh_offset + entry.d_un.d_val));
      }
    } else if (section.sh_type == SHT_INIT_ARRAY) {
      result.initArrayBytes += section.sh_size;
    } else if (section.sh_type == SHT_PREINIT_ARRAY ||
               textAt(file, names + section.sh_name) == ".ctors") {
      result.hasOtherConstructors = true;
    }
  }
  return result;
}

std::string plainName(const std::string& symbol) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), std::free);
  if (status != 0) return symbol;
  std::string name = demangled.get();
  if (name.find('<') < name.find('(')) return name;
  name.erase(std::min(name.find('('), name.size()));
  const std::size_t tag = name.find("[abi:");
  if (tag != std::string::npos) name.erase(tag);
  return name;
}
