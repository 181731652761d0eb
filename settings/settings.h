// Settings of a program: its command line over a TOML file. A program declares its settings once,
// as CLI11 options with long names; the key of the file is the option's name without the dashes:
//
//   CLI::App app{"what the program is"};
//   app.set_version_flag("--version", "1.0");
//   app.add_option("--port", port, "port to listen on")->check(CLI::Range(1, 65535));
//   app.add_flag("--debug", debug, "say more");
//   settings::Result got = settings::parse(app, argc, argv, "/etc/program.toml");
//   if (!got.run) return settings::finish(got);
//
// with the file
//
//   port = 8080      # an integer where the option holds a number; "0x1f90" is one too
//   debug = true     # a flag
//   names = ["a"]    # an array where the option holds a vector
//
// A value on the command line wins over the file's, an array as a whole. Options without a long
// name, "help", "version", "config" and those of the group settings::kCommandLineOnly are no keys.
// Not thread-safe; nothing is kept between calls.

#ifndef SETTINGS_SETTINGS_H_
#define SETTINGS_SETTINGS_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace settings {

// Group of options (`->group(settings::kCommandLineOnly)`) that the file cannot set.
constexpr const char* kCommandLineOnly = "Actions";

// A thing that the file may say several times, each in a block of its own ([[listen]]).
struct Blocks {
  std::string name;
  // Called once a block, before it is read: declares the block's keys as options of `app`, bound to
  // memory that outlives parse() and does not move. `line` is where the block starts.
  std::function<void(CLI::App& app, unsigned line)> declare;
};

struct Result {
  // The program goes on with its settings read. Otherwise it ends with exitCode, after `text` went
  // to standard output (exitCode 0: help, version) or as one line to standard error.
  bool run = false;
  int exitCode = 0;
  std::string text;

  // The file that was read; empty when there was none.
  std::string file;
  // Line of each key that the file sets and the command line does not.
  std::map<std::string, unsigned> lines;

  // Where a setting comes from, to begin a message about its value: "web.toml:3: certificate",
  // "--certificate" (command line) or "certificate" (neither: the default).
  std::string where(const std::string& key) const;
  std::vector<std::string> given;  // keys set on the command line
};

// Reads the command line, then the file of its `--config FILE`, which this adds to `app`; without
// that option `defaultFile`, when it is not empty and there is such a file. Values are converted
// and checked by the options' own rules (ranges, sets); options keep the type names that CLI11
// gives them, by which a value of another TOML type is told. Options may be required(): set in
// either place.
//
// Never throws for anything that a user can write. An error names file, line and key, or the
// option.
Result parse(CLI::App& app, int argc, const char* const* argv, const std::string& defaultFile,
             const std::vector<Blocks>& blocks = {});

// The text of a mistake, with a blank for each control character: keys and values that it repeats
// may hold line ends.
std::string oneLine(std::string text);

// Prints what a Result that does not run has to say; returns its exit code.
int finish(const Result& result);

}  // namespace settings

#endif  // SETTINGS_SETTINGS_H_
