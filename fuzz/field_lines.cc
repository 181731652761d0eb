#include "fuzz/field_lines.h"

#include <cstdlib>
#include <sstream>
#include <vector>

namespace fuzz {

namespace {

std::string readBytes(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t which =
        text[i] == '\\' && i + 1 < text.size() ? std::string("nr0\\").find(text[i + 1]) : 4;
    if (which >= 4) {
      bytes += text[i];
    } else {
      bytes += std::string("\n\r\0\\", 4)[which];
      ++i;
    }
  }
  return bytes;
}

std::uint64_t readNumber(const std::string& text) {
  return std::strtoull(text.c_str(), nullptr, 0);
}

void readLine(const std::string& line, nv::message* message) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos) return;
  const auto id = static_cast<std::uint32_t>(std::strtoul(line.c_str(), nullptr, 16));
  const std::string value = line.substr(equals + 1);
  switch (nv::typeOf(id)) {
    case nv::kBool:
      return message->insert_bool(id, value == "true");
    case nv::kU32:
      return message->insert_u32(id, static_cast<std::uint32_t>(readNumber(value)));
    case nv::kU64:
      return message->insert_u64(id, readNumber(value));
    case nv::kString:
      return message->insert_string(id, readBytes(value));
    case nv::kRaw: {
      const std::string bytes = readBytes(value);
      return message->insert_raw(id, {bytes.begin(), bytes.end()});
    }
    case nv::kU32Array: {
      std::vector<unsigned> numbers;
      std::istringstream words(value);
      for (std::string word; words >> word;) {
        numbers.push_back(static_cast<unsigned>(readNumber(word)));
      }
      return message->insert_u32_array(id, numbers);
    }
    default:
      return;
  }
}

}  // namespace

nv::message readFieldLines(const std::string& text) {
  nv::message message;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) readLine(line, &message);
  return message;
}

}  // namespace fuzz
