#include "settings/settings.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "settings/settings_file.h"

namespace settings {
namespace {

Result failed(const std::string& text) {
  Result result;
  result.exitCode = 1;
  result.text = oneLine(text);
  return result;
}

// Options that have to be set, in either place: CLI11 itself would look at the command line alone.
std::vector<CLI::Option*> takeRequired(CLI::App& app) {
  std::vector<CLI::Option*> required;
  for (CLI::Option* option : app.get_options()) {
    if (!option->get_required()) continue;
    option->required(false);
    required.push_back(option);
  }
  return required;
}

}  // namespace

std::string oneLine(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) c = ' ';
  }
  return text;
}

std::string Result::where(const std::string& key) const {
  const auto line = lines.find(key);
  if (line != lines.end()) return file + ":" + std::to_string(line->second) + ": " + key;
  if (std::find(given.begin(), given.end(), key) != given.end()) return "--" + key;
  return key;
}

Result parse(CLI::App& app, int argc, const char* const* argv, const std::string& defaultFile,
             const std::vector<Blocks>& blocks) {
  std::string file;
  CLI::Option* config = app.add_option("--config", file, "settings file (TOML)");
  if (!defaultFile.empty()) config->description("settings file (TOML); without it " + defaultFile);
  const std::vector<CLI::Option*> required = takeRequired(app);

  Result result;
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    result.text = app.help();
    return result;
  } catch (const CLI::CallForAllHelp&) {
    result.text = app.help("", CLI::AppFormatMode::All);
    return result;
  } catch (const CLI::CallForVersion& version) {
    result.text = std::string(version.what()) + "\n";
    return result;
  } catch (const CLI::Error& error) {
    return failed(std::string(error.what()) + " (see --help)");
  }
  for (const CLI::Option* option : app.get_options()) {
    const std::string key = keyOf(*option);
    if (option->count() > 0 && !key.empty()) result.given.push_back(key);
  }

  if (config->count() == 0 && !defaultFile.empty() && access(defaultFile.c_str(), F_OK) == 0) {
    file = defaultFile;
  }
  try {
    if (!file.empty()) readFile(app, file, blocks, &result);
  } catch (const FileError& error) {
    return failed(error.what());
  }
  for (const CLI::Option* option : required) {
    if (option->count() > 0) continue;
    return failed((file.empty() ? "" : file + ": ") + keyOf(*option) + " is not set: give " +
                  option->get_name() + " or set it in the settings file");
  }
  result.run = true;
  return result;
}

int finish(const Result& result) {
  if (result.exitCode == 0) {
    std::fputs(result.text.c_str(), stdout);
  } else {
    std::fprintf(stderr, "%s\n", result.text.c_str());
  }
  return result.exitCode;
}

}  // namespace settings
