// A page directory of a test's own.

#ifndef TESTS_SUPPORT_PAGE_DIR_H_
#define TESTS_SUPPORT_PAGE_DIR_H_

#include <string>

namespace fake {

// A fresh temporary directory, removed with all that it holds.
class PageDir {
 public:
  PageDir();
  ~PageDir();
  PageDir(const PageDir&) = delete;
  PageDir& operator=(const PageDir&) = delete;

  // Writes a file; the directories of a name with '/' are made.
  void write(const std::string& name, const std::string& content) const;
  void makeDirectory(const std::string& name) const;

  // Ends with '/'.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace fake

#endif  // TESTS_SUPPORT_PAGE_DIR_H_
