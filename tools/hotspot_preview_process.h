// The process of a headless Chromium, with a profile of its own.

#ifndef TOOLS_HOTSPOT_PREVIEW_PROCESS_H_
#define TOOLS_HOTSPOT_PREVIEW_PROCESS_H_

#include <sys/types.h>

#include <stdexcept>
#include <string>

namespace preview {

// The browser does not start, does not answer in time, or refuses.
class BrowserError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// When the object is gone, so are the browser, every process that it started, and its profile. A
// process has one at a time, and no other children: all that are left at the end are ended.
class BrowserProcess {
 public:
  // Throws BrowserError. Whether the program could be started is known by the first read.
  explicit BrowserProcess(const std::string& path);
  BrowserProcess(const BrowserProcess&) = delete;
  BrowserProcess& operator=(const BrowserProcess&) = delete;
  ~BrowserProcess();

  const std::string& path() const { return path_; }
  // Messages of the DevTools protocol, each with a NUL behind it.
  int input() const { return input_; }
  int output() const { return output_; }

  // The last line that it wrote to its standard error.
  std::string lastWords() const;

 private:
  void start();
  void end();

  const std::string path_;
  std::string profile_;
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_PROCESS_H_
