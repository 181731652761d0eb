// Runs a program of the build, to its end or in conversation.

#ifndef TESTS_TOOLS_PROGRAM_H_
#define TESTS_TOOLS_PROGRAM_H_

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// A temporary directory that goes with the object.
class ScratchDir {
 public:
  ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  ~ScratchDir();

  const std::filesystem::path& path() const { return path_; }
  // Makes the directories on the way.
  std::filesystem::path write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);

struct Ended {
  int status = -1;  // exit status; 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// The program finds `input` on its standard input and TMPDIR pointing to `tmpDir`. What it prints
// goes to `outFile` instead of into the result when there is one. Goes through the emulator of a
// cross build.
Ended runProgram(const std::vector<std::string>& command, const std::string& input,
                 const std::filesystem::path& tmpDir, const std::string& outFile = "");

// A program that is talked to while it runs. Goes through the emulator as well.
class Conversation {
 public:
  explicit Conversation(const std::vector<std::string>& command);
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;
  ~Conversation();  // ends its input and waits for it

  void say(const std::string& line);
  // The next line that it prints, without its end; nothing when none comes within twenty seconds.
  std::optional<std::string> hear();

 private:
  pid_t child_ = -1;
  int in_ = -1;
  int out_ = -1;
};

#endif  // TESTS_TOOLS_PROGRAM_H_
