// JSON as the scenario files use it: strict, one value a line, strings that stand for bytes.

#ifndef TOOLS_HOTSPOT_REPLAY_JSON_H_
#define TOOLS_HOTSPOT_REPLAY_JSON_H_

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace replay {

// Members keep the order in which they were written.
using Json = nlohmann::ordered_json;

// A scenario that cannot be played; what() says why, with the key's path.
class Invalid : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where a value stands in the scenario, as a chain of links on the stack: the text is put together
// only when something is wrong there. A link must not outlive its parent or its key.
class Path {
 public:
  Path() = default;

  Path member(std::string_view key) const { return Path(this, key, 0); }
  Path element(std::size_t index) const { return Path(this, {}, index); }

  // "request.headers[2][0]"; a key that is no plain word in the form pages["a/b"]. "scenario" for
  // the whole.
  std::string str() const;

  [[noreturn]] void fail(std::string_view why) const;

 private:
  Path(const Path* parent, std::string_view key, std::size_t index)
      : parent_(parent), key_(key), index_(index) {}

  const Path* parent_ = nullptr;
  std::string_view key_;  // data() is null for an array's element
  std::size_t index_ = 0;
};

// One line of input. Throws Invalid when it is not JSON. A key that stands twice in one object is
// no error of JSON's: the first such key's path goes into `*duplicate`, which stays empty
// otherwise.
Json parseLine(const std::string& line, std::string* duplicate);

// The value, or Invalid when it is of another type or out of range. Numbers are whole and exact.
bool readBool(const Json& value, const Path& path);
std::uint64_t readU64(const Json& value, const Path& path);
std::uint32_t readU32(const Json& value, const Path& path);
const Json& readArray(const Json& value, const Path& path);
const Json& readArray(const Json& value, const Path& path, std::size_t size);
const Json& readObject(const Json& value, const Path& path);

// The bytes that a string stands for: one for each character, U+0000 to U+00FF.
std::string readBytes(const Json& value, const Path& path);

// The other way round: the JSON string for any bytes.
Json bytesToJson(std::string_view bytes);

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_JSON_H_
