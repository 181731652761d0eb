#include "tests/tools/program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

std::vector<std::string> emulator() {
  std::vector<std::string> words;
  std::istringstream list(TEST_EMULATOR);
  for (std::string word; list >> word;) words.push_back(word);
  return words;
}

// In the child; does not return. Files instead of pipes: neither side ever waits for the other.
[[noreturn]] void become(const std::vector<std::string>& command,
                         const std::filesystem::path& files, const std::string& outFile,
                         const std::string& tmpDir) {
  const int in = open((files / "in").c_str(), O_RDONLY);
  const int out = open(outFile.c_str(), O_WRONLY | O_CREAT, 0600);
  const int err = open((files / "err").c_str(), O_WRONLY | O_CREAT, 0600);
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  setenv("TMPDIR", tmpDir.c_str(), 1);
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

ScratchDir::ScratchDir() {
  std::string path = (std::filesystem::temp_directory_path() / "tools-test-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
  path_ = path;
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path ScratchDir::write(const std::string& name, const std::string& content) const {
  const std::filesystem::path path = path_ / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

Ended runProgram(const std::vector<std::string>& command, const std::string& input,
                 const std::filesystem::path& tmpDir, const std::string& outFile) {
  const ScratchDir files;
  files.write("in", input);
  std::vector<std::string> words = emulator();
  words.insert(words.end(), command.begin(), command.end());
  const pid_t child = fork();
  const std::string out = outFile.empty() ? (files.path() / "out").string() : outFile;
  if (child == 0) become(words, files.path(), out, tmpDir);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no process");
  Ended ended;
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  if (outFile.empty()) ended.out = readFile(out);
  ended.err = readFile(files.path() / "err");
  return ended;
}
