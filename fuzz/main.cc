// Runs a fuzz target once on each file that is given or lies in a folder that is given. The place
// of libFuzzer's main() in ordinary builds, where the corpus is a test.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/check.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) throw std::runtime_error(place.string() + " holds no file");
  return files;
}

void runOn(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + file.string());
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
  // A copy of exactly this size: what reads past its end is noticed.
  const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
  // Last on the screen when the target aborts.
  std::printf("%s\n", file.c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(data.data(), data.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: %s FILE-OR-FOLDER...\n", argv[0]);
    return 2;
  }
  try {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
      for (const fs::path& file : filesOf(argv[i])) {
        runOn(file);
        ++count;
      }
    }
    std::printf("%zu inputs\n", count);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}
