#include "tools/hotspot_replay_json.h"

#include <limits>
#include <unordered_set>
#include <vector>

namespace replay {
namespace {

// An object or array that the parser is inside of, for the path of a key given twice.
struct Open {
  bool isArray = false;
  std::string key;
  std::size_t index = 0;
  std::unordered_set<std::string> keys;
};

std::string pathOf(const std::vector<Open>& open) {
  std::vector<Path> links(1);
  links.reserve(open.size() + 1);
  for (const Open& level : open) {
    const Path& last = links.back();
    links.push_back(level.isArray ? last.element(level.index) : last.member(level.key));
  }
  return links.back().str();
}

// Follows the parser and remembers the first key that stands twice in one object; the parser itself
// would keep one of the two without a word.
class DuplicateWatch {
 public:
  explicit DuplicateWatch(std::string* duplicate) : duplicate_(duplicate) {}

  void follow(Json::parse_event_t event, const Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
      case Json::parse_event_t::array_start:
        open_.emplace_back();
        open_.back().isArray = event == Json::parse_event_t::array_start;
        break;
      case Json::parse_event_t::object_end:
      case Json::parse_event_t::array_end:
        open_.pop_back();
        stepOver();
        break;
      case Json::parse_event_t::key:
        onKey(parsed.get_ref<const std::string&>());
        break;
      case Json::parse_event_t::value:
        stepOver();
        break;
    }
  }

 private:
  void onKey(const std::string& key) {
    Open& level = open_.back();
    level.key = key;
    if (!level.keys.insert(key).second && duplicate_->empty()) *duplicate_ = pathOf(open_);
  }

  void stepOver() {
    if (!open_.empty()) ++open_.back().index;
  }

  std::string* duplicate_;
  std::vector<Open> open_;
};

bool isPlainWord(std::string_view key) {
  if (key.empty()) return false;
  for (const char c : key) {
    const bool isWordChar = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                            (c >= '0' && c <= '9') || c == '_' || c == '-';
    if (!isWordChar) return false;
  }
  return true;
}

}  // namespace

std::string Path::str() const {
  std::vector<const Path*> links;
  for (const Path* link = this; link->parent_ != nullptr; link = link->parent_)
    links.push_back(link);
  if (links.empty()) return "scenario";
  std::string text;
  for (auto link = links.rbegin(); link != links.rend(); ++link) {
    const std::string_view key = (*link)->key_;
    if (key.data() == nullptr) {
      text += '[' + std::to_string((*link)->index_) + ']';
    } else if (isPlainWord(key)) {
      if (!text.empty()) text += '.';
      text += key;
    } else {
      text += '[' + Json(std::string(key)).dump() + ']';
    }
  }
  return text;
}

void Path::fail(std::string_view why) const { throw Invalid(str() + ": " + std::string(why)); }

Json parseLine(const std::string& line, std::string* duplicate) {
  DuplicateWatch watch(duplicate);
  try {
    return Json::parse(line, [&watch](int, Json::parse_event_t event, const Json& parsed) {
      watch.follow(event, parsed);
      return true;
    });
  } catch (const Json::parse_error& error) {
    throw Invalid("not valid JSON at byte " + std::to_string(error.byte));
  } catch (const Json::out_of_range&) {
    throw Invalid("not valid JSON: a number is too large for any type");
  }
}

bool readBool(const Json& value, const Path& path) {
  if (!value.is_boolean()) path.fail("must be true or false");
  return value.get<bool>();
}

std::uint64_t readU64(const Json& value, const Path& path) {
  if (!value.is_number_integer()) path.fail("must be a whole number below 2^64");
  // The parser reads what has a minus sign as signed and all else as unsigned.
  if (!value.is_number_unsigned() && value.get<std::int64_t>() < 0)
    path.fail("must not be negative");
  return value.get<std::uint64_t>();
}

std::uint32_t readU32(const Json& value, const Path& path) {
  const std::uint64_t number = readU64(value, path);
  if (number > std::numeric_limits<std::uint32_t>::max()) path.fail("must be below 2^32");
  return static_cast<std::uint32_t>(number);
}

const Json& readArray(const Json& value, const Path& path) {
  if (!value.is_array()) path.fail("must be an array");
  return value;
}

const Json& readArray(const Json& value, const Path& path, std::size_t size) {
  if (readArray(value, path).size() != size) {
    path.fail("must be an array of " + std::to_string(size) + " values");
  }
  return value;
}

const Json& readObject(const Json& value, const Path& path) {
  if (!value.is_object()) path.fail("must be an object");
  return value;
}

std::string readBytes(const Json& value, const Path& path) {
  if (!value.is_string()) path.fail("must be a string");
  // The parser has checked that this is UTF-8; U+0080 to U+00FF begin with 0xC2 or 0xC3.
  const std::string& text = value.get_ref<const std::string&>();
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else if (lead == 0xC2 || lead == 0xC3) {
      const auto trail = static_cast<unsigned char>(text[++i]);
      bytes += static_cast<char>(((lead & 0x03) << 6) | (trail & 0x3F));
    } else {
      path.fail("holds a character above U+00FF");
    }
  }
  return bytes;
}

Json bytesToJson(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | (byte >> 6));
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return Json(std::move(text));
}

}  // namespace replay
