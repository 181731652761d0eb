#include "settings/settings_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace settings {
namespace {

bool startsWith(const std::string& text, const char* prefix) {
  return text.compare(0, std::strlen(prefix), prefix) == 0;
}

// What an option's value has to be in the file, as CLI11's names for the bound types tell.
enum class Kind { kFlag, kInteger, kFloat, kText };

Kind kindOf(const CLI::Option& option) {
  if (option.get_items_expected_max() == 0) return Kind::kFlag;
  const std::string type = option.get_type_name();
  if (startsWith(type, "BOOL")) return Kind::kFlag;
  if (startsWith(type, "UINT") || startsWith(type, "INT")) return Kind::kInteger;
  if (startsWith(type, "FLOAT")) return Kind::kFloat;
  return Kind::kText;
}

const char* nameOf(Kind kind) {
  switch (kind) {
    case Kind::kFlag:
      return "true or false";
    case Kind::kInteger:
      return "an integer";
    case Kind::kFloat:
      return "a number";
    case Kind::kText:
      return "a string in quotes";
  }
  return "";
}

const char* nameOf(toml::node_type type) {
  switch (type) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "an array";
    case toml::node_type::string:
      return "a string";
    case toml::node_type::integer:
      return "an integer";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "true or false";
    case toml::node_type::none:
      return "nothing";
    default:
      return "a date or time";
  }
}

// One file while it is read: it knows where a message has to point.
class Reader {
 public:
  Reader(std::string path, Result* result) : path_(std::move(path)), result_(result) {}

  void readTable(CLI::App& app, const toml::table& table, const std::vector<Blocks>& blocks,
                 const std::string& block);

 private:
  [[noreturn]] void fail(const toml::node& at, const std::string& key,
                         const std::string& text) const {
    throw FileError(path_ + ":" + std::to_string(at.source().begin.line) + ": " + key + ": " +
                    text);
  }

  std::string scalar(const CLI::Option& option, const toml::node& node,
                     const std::string& key) const;
  void readValue(CLI::Option& option, const toml::node& node, const std::string& key) const;
  bool readBlocks(const std::string& key, const toml::node& node,
                  const std::vector<Blocks>& blocks);

  const std::string path_;
  Result* const result_;
};

std::string Reader::scalar(const CLI::Option& option, const toml::node& node,
                           const std::string& key) const {
  const Kind kind = kindOf(option);
  if (kind == Kind::kFlag && node.is_boolean()) return *node.value<bool>() ? "true" : "false";
  if (kind == Kind::kText && node.is_string()) return *node.value<std::string>();
  if ((kind == Kind::kInteger || kind == Kind::kFloat) && node.is_integer()) {
    return std::to_string(*node.value<std::int64_t>());
  }
  if (kind == Kind::kFloat && node.is_floating_point()) {
    std::ostringstream text;
    text.precision(17);
    text << *node.value<double>();
    return text.str();
  }
  if (kind == Kind::kInteger && node.is_string()) {
    std::string text = *node.value<std::string>();
    if (startsWith(text, "0x")) return text;
  }
  fail(node, key, std::string("has to be ") + nameOf(kind) + ", not " + nameOf(node.type()));
}

void Reader::readValue(CLI::Option& option, const toml::node& node, const std::string& key) const {
  std::vector<std::string> values;
  if (option.get_items_expected_max() > 1) {
    const toml::array* array = node.as_array();
    if (array == nullptr) {
      fail(node, key,
           std::string("has to be an array ([ ... ]) whose items are each ") +
               nameOf(kindOf(option)) + ", not " + nameOf(node.type()));
    }
    for (const toml::node& item : *array) values.push_back(scalar(option, item, key));
  } else {
    values.push_back(scalar(option, node, key));
  }
  if (values.empty() || option.count() > 0) return;
  try {
    for (const std::string& value : values) option.add_result(value);
    option.run_callback();
  } catch (const CLI::Error& error) {
    fail(node, key, reasonOf(error, option) + " (expected " + option.get_type_name() + ")");
  }
}

bool Reader::readBlocks(const std::string& key, const toml::node& node,
                        const std::vector<Blocks>& blocks) {
  const auto wanted = std::find_if(blocks.begin(), blocks.end(),
                                   [&](const Blocks& each) { return each.name == key; });
  if (wanted == blocks.end()) return false;
  const toml::array* array = node.as_array();
  if (node.is_table()) fail(node, key, "is a list: write [[" + key + "]] instead of [" + key + "]");
  if (array == nullptr || !array->is_homogeneous(toml::node_type::table)) return false;
  for (const toml::node& item : *array) {
    CLI::App app;
    app.set_help_flag();
    wanted->declare(app, item.source().begin.line);
    readTable(app, *item.as_table(), {}, "[[" + key + "]] ");
    for (const CLI::Option* option : app.get_options()) {
      if (option->get_required() && option->count() == 0) {
        fail(item, "[[" + key + "]]", keyOf(*option) + " is missing");
      }
    }
  }
  return true;
}

void Reader::readTable(CLI::App& app, const toml::table& table, const std::vector<Blocks>& blocks,
                       const std::string& block) {
  for (const auto& [name, node] : table) {
    const std::string key(name.str());
    CLI::Option* option = nullptr;
    for (CLI::Option* each : app.get_options()) {
      if (keyOf(*each) == key) option = each;
    }
    if (readBlocks(key, node, blocks)) {
      result_->lines.emplace(key, node.source().begin.line);
      continue;
    }
    if (option == nullptr) {
      std::string known;
      for (const CLI::Option* each : app.get_options()) {
        const std::string text = keyOf(*each);
        if (!text.empty()) known += (known.empty() ? "" : ", ") + text;
      }
      fail(node, block + key, "no such setting; there are: " + known);
    }
    const bool given = option->count() > 0;
    readValue(*option, node, block + key);
    if (!given && block.empty()) result_->lines.emplace(key, node.source().begin.line);
  }
}

// False with errno set, also for a directory.
bool readWhole(const std::string& path, std::string* text) {
  std::FILE* in = std::fopen(path.c_str(), "rb");
  if (in == nullptr) return false;
  char part[4096];
  std::size_t length = 0;
  while ((length = std::fread(part, 1, sizeof part, in)) > 0) text->append(part, length);
  const int error = std::ferror(in) != 0 ? errno : 0;
  std::fclose(in);
  errno = error;
  return error == 0;
}

}  // namespace

std::string keyOf(const CLI::Option& option) {
  if (option.get_lnames().empty() || option.get_group() == kCommandLineOnly) return {};
  const std::string& name = option.get_lnames().front();
  return name == "help" || name == "version" || name == "config" ? std::string() : name;
}

std::string reasonOf(const CLI::Error& error, const CLI::Option& option) {
  std::string text = error.what();
  const std::string prefix = option.get_name() + ": ";
  if (text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
  return text;
}

void readFile(CLI::App& app, const std::string& path, const std::vector<Blocks>& blocks,
              Result* result) {
  std::string text;
  if (!readWhole(path, &text)) {
    throw FileError(path + ": cannot be read: " + std::strerror(errno) +
                    "; name another settings file with --config");
  }
  result->file = path;
  toml::table table;
  try {
    table = toml::parse(text, path);
  } catch (const toml::parse_error& error) {
    throw FileError(path + ":" + std::to_string(error.source().begin.line) +
                    ": not valid TOML: " + std::string(error.description()));
  }
  Reader(path, result).readTable(app, table, blocks, "");
}

}  // namespace settings
