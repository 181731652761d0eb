// RADIUS bytes: every attribute is read as a second reader finds it, which takes the bytes apart
// into a list first. What is added to a packet is read back; references of templates see the same.

#include "host/radius.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/check.h"
#include "template/var_val.h"

namespace {

using Name = std::pair<unsigned, unsigned>;  // vendor, 0 for none, and type
using Attributes = std::vector<std::pair<Name, std::string>>;

unsigned byteAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

unsigned wordAt(const std::string& bytes, std::size_t at) {
  return byteAt(bytes, at) << 24 | byteAt(bytes, at + 1) << 16 | byteAt(bytes, at + 2) << 8 |
         byteAt(bytes, at + 3);
}

// Cuts the bytes into types and values. False when they end with something that is neither.
bool cut(const std::string& bytes, std::vector<std::pair<unsigned, std::string>>* pieces) {
  std::size_t at = 0;
  while (bytes.size() - at >= 2) {
    const unsigned length = byteAt(bytes, at + 1);
    if (length < 2 || length > bytes.size() - at) return false;
    pieces->emplace_back(byteAt(bytes, at), bytes.substr(at + 2, length - 2));
    at += length;
  }
  return at == bytes.size();
}

// The attributes that can be asked for: up to the first malformed one, and not those that a type 26
// holds for vendor 0, which means the standard ones.
Attributes read(const std::string& bytes) {
  Attributes list;
  std::vector<std::pair<unsigned, std::string>> outer;
  cut(bytes, &outer);
  for (const auto& [type, value] : outer) {
    if (type != 26) {
      list.push_back({{0, type}, value});
      continue;
    }
    if (value.size() < 4) return list;
    std::vector<std::pair<unsigned, std::string>> inner;
    const bool whole = cut(value.substr(4), &inner);
    const unsigned vendor = wordAt(value, 0);
    for (const auto& [innerType, innerValue] : inner) {
      if (vendor != 0) list.push_back({{vendor, innerType}, innerValue});
    }
    if (!whole) return list;
  }
  return list;
}

void checkValue(const radius::Packet& packet, const Name& name, unsigned index,
                const std::string* value) {
  const bool isNumber = value != nullptr && value->size() == 4;
  std::string text = "untouched";
  unsigned number = 4711;
  fuzz::check(packet.get(name.first, name.second, &text, index) == (value != nullptr),
              "an attribute is found if it is there");
  fuzz::checkEqual(text, value != nullptr ? *value : "untouched", "the attribute's value");
  fuzz::check(packet.get(name.first, name.second, &number, index) == isNumber,
              "four bytes are a number");
  fuzz::check(number == (isNumber ? wordAt(*value, 0) : 4711), "the attribute's number");

  if (name == Name(0, 0)) return;  // to a template that is the packet as a whole
  text = "untouched";
  fuzz::check(getRadiusAttribute(packet, name.first, name.second, true, index, &text) == isNumber,
              "a numeric reference needs a number");
  fuzz::checkEqual(text, isNumber ? std::to_string(wordAt(*value, 0)) : "untouched",
                   "a numeric reference's text");
}

void checkReading(const radius::Packet& packet, const Attributes& list) {
  std::map<Name, std::vector<std::string>> byName = {
      {{0, 0}, {}}, {{0, 1}, {}}, {{0, 26}, {}}, {{9, 1}, {}}, {{14122, 4}, {}}};
  for (const auto& [name, value] : list) byName[name].push_back(value);
  for (const auto& [name, values] : byName) {
    unsigned index = 0;
    for (const std::string& value : values) checkValue(packet, name, index++, &value);
    checkValue(packet, name, index, nullptr);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2048) return 0;  // each attribute is looked for from the start
  const Attributes list = read(fuzz::textOf(data, size));
  checkReading({std::vector<unsigned char>(data, data + size)}, list);

  radius::Packet built;
  Attributes added;
  for (const auto& [name, value] : list) {
    built.add(name.first, name.second, value.data(), static_cast<unsigned>(value.size()));
    const bool fits = value.size() <= (name.first == 0 ? 253 : 247);
    if (name.second != 0 && fits) added.emplace_back(name, value);
  }
  checkReading(built, added);
  fuzz::check(read(std::string(built.bytes.begin(), built.bytes.end())) == added,
              "a packet that is built is well formed");
  return 0;
}
