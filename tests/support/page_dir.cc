#include "tests/support/page_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fake {

PageDir::PageDir() {
  std::string pattern = std::filesystem::temp_directory_path() / "hotspot-pages-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
  path_ = pattern + '/';
}

PageDir::~PageDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void PageDir::write(const std::string& name, const std::string& content) const {
  const std::filesystem::path file = path_ + name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << content;
  if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

void PageDir::makeDirectory(const std::string& name) const {
  std::filesystem::create_directories(path_ + name);
}

}  // namespace fake
