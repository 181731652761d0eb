// The TOML half of settings::parse.

#ifndef SETTINGS_SETTINGS_FILE_H_
#define SETTINGS_SETTINGS_FILE_H_

#include <stdexcept>
#include <string>
#include <vector>

#include "settings/settings.h"

namespace settings {

// One line that says what is wrong, where, and what to do.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Key of the file for an option; empty when the file cannot set it.
std::string keyOf(const CLI::Option& option);

// What CLI11 says of a value, without the option's name in front.
std::string reasonOf(const CLI::Error& error, const CLI::Option& option);

// Sets the options of `app` that the command line left alone; notes their lines in `result`.
// Throws FileError.
void readFile(CLI::App& app, const std::string& path, const std::vector<Blocks>& blocks,
              Result* result);

}  // namespace settings

#endif  // SETTINGS_SETTINGS_FILE_H_
