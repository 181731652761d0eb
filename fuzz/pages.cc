#include "fuzz/pages.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include "fuzz/check.h"
#include "tests/support/page_dir.h"

namespace fuzz {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  check(in.good(), "a page can be read");
  return {std::istreambuf_iterator<char>(in), {}};
}

// The names in the first column of the tables of docs/page-variables.md.
std::vector<std::string> pageVariables() {
  std::vector<std::string> names;
  std::istringstream text(contentOf(HOTSPOT_SOURCES "/docs/page-variables.md"));
  for (std::string line; std::getline(text, line);) {
    if (line.compare(0, 3, "| `") != 0) continue;
    const std::string cell = line.substr(2, line.find('|', 2) - 2);
    for (std::size_t at = cell.find('`'); at != std::string::npos; at = cell.find('`', at)) {
      const std::size_t end = cell.find('`', at + 1);
      names.push_back(cell.substr(at + 1, end - at - 1));
      at = end + 1;
    }
  }
  check(names.size() > 50, "the page variables are listed");
  return names;
}

struct Pages {
  Pages() : path(dir.path() + "pages/") {
    // Pages as they ship: the corpus of the template engine has them.
    constexpr std::string_view kPrefix = "page_";
    for (const fs::directory_entry& entry :
         fs::directory_iterator(HOTSPOT_SOURCES "/fuzz/corpus/template")) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(kPrefix)) {
        dir.write("pages/" + name.substr(kPrefix.size()), contentOf(entry.path()));
      }
    }
    std::string every;
    std::string escaped;
    for (const std::string& name : pageVariables()) {
      every += "$(" + name + ")\n";
      escaped += "$(" + name + "-esc)\n";
    }
    dir.write("pages/every.html", every);
    dir.write("pages/escaped.html", escaped);
    dir.write("pages/raw.txt", every + escaped);
    dir.write("pages/in/status.html", "in: $(username)");
    for (const char* const name : {"secret.html", "secret", "login.html", "error.html"}) {
      dir.write(name, kOutside);
    }
  }

  fake::PageDir dir;
  std::string path;
};

}  // namespace

const std::string& pageDirectory() {
  static const Pages kPages;
  return kPages.path;
}

void checkNothingOutside(const std::string& answer, const std::string& input) {
  check(answer.find(kOutside) == std::string::npos || input.find("outside") != std::string::npos,
        "nothing outside the page directory is read");
}

}  // namespace fuzz
