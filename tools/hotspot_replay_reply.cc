// One of the "replies" of a scenario: a message of the hotspot manager.

#include <optional>

#include "tools/hotspot_replay_keys.h"
#include "tools/hotspot_replay_scenario.h"

namespace replay {
namespace {

struct ErrorSpec {
  std::optional<std::uint32_t> code;
  std::optional<std::string> text;
};

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// "0x" and hexadecimal digits, any number of zeros in front.
std::uint32_t parseFieldId(const std::string& text, const Path& path) {
  const bool hasPrefix = text.size() > 2 && text[0] == '0' && text[1] == 'x';
  if (!hasPrefix) path.fail("a field id is 0x and hexadecimal digits");
  std::uint64_t id = 0;
  for (const char c : text.substr(2)) {
    const int digit = hexDigit(c);
    if (digit < 0) path.fail("a field id is 0x and hexadecimal digits");
    id = id * 16 + static_cast<unsigned>(digit);
    if (id > 0xffffffff) path.fail("a field id is below 2^32");
  }
  return static_cast<std::uint32_t>(id);
}

std::vector<unsigned char> parseRaw(const Json& json, const Path& path) {
  const std::string text = readBytes(json, path);
  if (text.size() % 2 != 0) path.fail("must be pairs of hexadecimal digits");
  std::vector<unsigned char> bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = hexDigit(text[i]);
    const int low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) path.fail("must be pairs of hexadecimal digits");
    bytes.push_back(static_cast<unsigned char>(high * 16 + low));
  }
  return bytes;
}

std::vector<unsigned> parseNumbers(const Json& json, const Path& path) {
  readArray(json, path);
  std::vector<unsigned> numbers;
  numbers.reserve(json.size());
  for (std::size_t i = 0; i < json.size(); ++i) {
    numbers.push_back(readU32(json[i], path.element(i)));
  }
  return numbers;
}

void parseField(const std::string& idText, const Json& value, const Path& path,
                nv::message* reply) {
  const std::uint32_t id = parseFieldId(idText, path);
  if (reply->size_field(id) != 0) path.fail("the field is given twice");
  switch (nv::typeOf(id)) {
    case nv::kBool:
      return reply->insert_bool(id, readBool(value, path));
    case nv::kU32:
      return reply->insert_u32(id, readU32(value, path));
    case nv::kU64:
      return reply->insert_u64(id, readU64(value, path));
    case nv::kString:
      return reply->insert_string(id, readBytes(value, path));
    case nv::kRaw:
      return reply->insert_raw(id, parseRaw(value, path));
    case nv::kU32Array:
      return reply->insert_u32_array(id, parseNumbers(value, path));
    default:
      path.fail("the field id's top byte is no known type");
  }
}

void parseError(const Json& json, const Path& path, nv::message* reply) {
  static constexpr Key<ErrorSpec> kErrorKeys[] = {
      {"code", [](const Json& value, const Path& at,
                  ErrorSpec* error) { error->code = readU32(value, at); }},
      {"text", [](const Json& value, const Path& at,
                  ErrorSpec* error) { error->text = readBytes(value, at); }},
  };
  ErrorSpec error;
  readKeys(json, path, kErrorKeys, &error);
  if (!error.code) path.fail("code is missing");
  if (!error.text) path.fail("text is missing");
  nv::setError(reply, *error.code, *error.text);
}

}  // namespace

nv::message parseReply(const Json& json, const Path& path) {
  static constexpr Key<nv::message> kReplyKeys[] = {
      {"fields",
       [](const Json& value, const Path& at, nv::message* reply) {
         readObject(value, at);
         for (auto field = value.begin(); field != value.end(); ++field) {
           parseField(field.key(), field.value(), at.member(field.key()), reply);
         }
       }},
      {"error", parseError},
  };
  nv::message reply;
  readKeys(json, path, kReplyKeys, &reply);
  return reply;
}

}  // namespace replay
