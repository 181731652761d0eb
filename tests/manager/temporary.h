// A directory that goes away with everything in it.

#ifndef TESTS_MANAGER_TEMPORARY_H_
#define TESTS_MANAGER_TEMPORARY_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class TemporaryDir {
 public:
  TemporaryDir() {
    std::string pattern = std::filesystem::temp_directory_path() / "manager-test-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp");
    path_ = pattern;
  }
  ~TemporaryDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDir(const TemporaryDir&) = delete;
  TemporaryDir& operator=(const TemporaryDir&) = delete;

  std::string file(const std::string& name) const { return path_ / name; }

  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name)) << text;
    return file(name);
  }

 private:
  std::filesystem::path path_;
};

#endif  // TESTS_MANAGER_TEMPORARY_H_
