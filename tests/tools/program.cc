#include "tests/tools/program.h"

#include <fcntl.h>
#include <poll.h>
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

[[noreturn]] void execute(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

std::vector<std::string> emulated(const std::vector<std::string>& command) {
  std::vector<std::string> words = emulator();
  words.insert(words.end(), command.begin(), command.end());
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
  execute(command);
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
  const std::vector<std::string> words = emulated(command);
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

Conversation::Conversation(const std::vector<std::string>& command) {
  int toChild[2];
  int fromChild[2];
  if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipes");
  }
  const std::vector<std::string> words = emulated(command);
  child_ = fork();
  if (child_ == 0) {
    dup2(toChild[0], STDIN_FILENO);
    dup2(fromChild[1], STDOUT_FILENO);
    execute(words);
  }
  close(toChild[0]);
  close(fromChild[1]);
  in_ = toChild[1];
  out_ = fromChild[0];
}

Conversation::~Conversation() {
  close(in_);
  close(out_);
  if (child_ > 0) waitpid(child_, nullptr, 0);
}

void Conversation::say(const std::string& line) {
  const std::string text = line + "\n";
  if (write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the program does not listen");
  }
}

std::optional<std::string> Conversation::hear() {
  std::string line;
  for (;;) {
    pollfd waiting{out_, POLLIN, 0};
    char c = 0;
    if (poll(&waiting, 1, 20000) != 1 || read(out_, &c, 1) != 1) return std::nullopt;
    if (c == '\n') return line;
    line += c;
  }
}
