// Who includes whom: reads every include line of the tree.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

struct Rule {
  const char* folder;
  Names mayInclude;   // folders, or single headers
  bool standardOnly;  // of headers in angle brackets, only the language's and the system's
};

const Names kModuleFolders = {"host", "servlet", "vars", "template", "commands"};

const Rule kRules[] = {
    {"host", {"host"}, true},
    {"servlet", kModuleFolders, true},
    {"vars", kModuleFolders, true},
    {"template", kModuleFolders, true},
    {"commands", kModuleFolders, true},
    {"platform", {"platform", "host"}, false},
    {"settings", {"settings"}, false},
    {"webserver", {"webserver", "host", "platform", "settings"}, false},
    {"manager", {"manager", "host/message.h", "host/address.h", "platform", "settings"}, false},
    // The words of the administrator's socket are the one thing that a tool shares with the
    // manager. The linter reads pages with the engine's own scanner.
    {"tools",
     {"tools", "host", "platform", "settings", "manager/admin_protocol.h", "template/directive.h",
      "template/escape.h", "template/var_val.h"},
     false},
};

// The system's headers that the module may use; a name without '.' and '/' is the language's.
const Names kSystemHeaders = {"fcntl.h",    "pthread.h",  "unistd.h",    "errno.h",  "time.h",
                              "sys/mman.h", "sys/stat.h", "sys/types.h", "stdlib.h", "string.h"};

bool holds(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// What is wrong with an include line in a folder; nothing for a good one and for any other line.
std::optional<std::string> wrongInclude(const Rule& rule, const std::string& line) {
  std::string_view rest = line;
  const auto skip = [&](std::string_view token) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
    const bool isThere = rest.starts_with(token);
    if (isThere) rest.remove_prefix(token.size());
    return isThere;
  };
  if (!skip("#") || !skip("include") || !(skip("\"") || skip("<"))) return std::nullopt;
  const bool isAngled = rest.data()[-1] == '<';
  const std::string header(rest.substr(0, rest.find_first_of("\">")));
  if (isAngled) {
    const bool isStandard =
        header.find_first_of("./") == std::string::npos || holds(kSystemHeaders, header);
    if (!rule.standardOnly || isStandard) return std::nullopt;
    return "third-party header: " + header;
  }
  const std::size_t slash = header.find('/');
  if (slash == std::string::npos) return "not named from the root: " + header;
  if (holds(rule.mayInclude, header.substr(0, slash)) || holds(rule.mayInclude, header)) {
    return std::nullopt;
  }
  return "wrong direction: " + header;
}

bool isSource(const fs::path& file) {
  return file.extension() == ".h" || file.extension() == ".cc" || file.extension() == ".inc";
}

TEST(IncludeDirections, NoFolderIncludesAgainstTheArrows) {
  for (const Rule& rule : kRules) {
    const fs::path folder = fs::path(HOTSPOT_SOURCES) / rule.folder;
    ASSERT_TRUE(fs::is_directory(folder)) << rule.folder;
    int sources = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
      if (!isSource(entry.path())) continue;
      ++sources;
      std::ifstream in(entry.path());
      int number = 0;
      for (std::string line; std::getline(in, line);) {
        ++number;
        if (const auto wrong = wrongInclude(rule, line)) {
          ADD_FAILURE() << entry.path().string() << ':' << number << ": " << *wrong;
        }
      }
    }
    EXPECT_GT(sources, 0) << rule.folder;
  }
}

TEST(IncludeDirections, CheckerKnowsGoodLinesFromBadOnes) {
  struct Case {
    const char* folder;
    const char* line;
    bool isGood;
  };
  const Case cases[] = {
      {"host", "#include \"host/message.h\"", true},
      {"host", "#include \"servlet/hsrv.h\"", false},
      {"host", "#include <string>", true},
      {"servlet", "#include \"vars/yes_no.h\"", true},
      {"servlet", "#include \"platform/debug_stream.h\"", false},
      {"servlet", "  #  include \"manager/clock.h\"  // why", false},
      {"servlet", "#include \"hsrv.h\"", false},
      {"servlet", "#include \"../platform/ascii.h\"", false},
      {"vars", "#include <unistd.h>", true},
      {"vars", "#include <boost/asio.hpp>", false},
      {"vars", "#include <openssl/md5.h>", false},
      {"platform", "#include \"host/servlet.h\"", true},
      {"platform", "#include \"servlet/hsrv.h\"", false},
      {"settings", "#include <toml++/toml.h>", true},
      {"settings", "#include \"host/message.h\"", false},
      {"webserver", "#include \"settings/settings.h\"", true},
      {"webserver", "#include \"servlet/hs_conn.h\"", false},
      {"webserver", "#include \"manager/clock.h\"", false},
      {"manager", "#include \"host/message.h\"", true},
      {"manager", "#include \"host/address.h\"", true},
      {"manager", "#include \"host/servlet.h\"", false},
      {"manager", "#include \"webserver/worker.h\"", false},
      {"tools", "#include \"host/request.h\"", true},
      {"tools", "#include \"manager/admin_protocol.h\"", true},
      {"tools", "#include \"manager/store.h\"", false},
      {"tools", "#include \"template/format.h\"", false},
      {"tools", "#include \"tests/support/visit.h\"", false},
      {"host", "// #include \"servlet/hsrv.h\"", true},
  };
  for (const Case& c : cases) {
    const auto rule = std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& each) {
      return std::string(each.folder) == c.folder;
    });
    EXPECT_EQ(!wrongInclude(*rule, c.line).has_value(), c.isGood) << c.folder << ": " << c.line;
  }
}

TEST(Folders, EachHasAReadme) {
  Names folders = {"fuzz", "pages", "tests"};
  for (const Rule& rule : kRules) folders.emplace_back(rule.folder);
  for (const std::string& folder : folders) {
    const fs::path readme = fs::path(HOTSPOT_SOURCES) / folder / "README.md";
    ASSERT_TRUE(fs::is_regular_file(readme)) << folder;
    EXPECT_GT(fs::file_size(readme), 0U) << folder;
  }
}

}  // namespace
