// Fields of a message: inserting, finding, reading. The message is its own wire form at all times,
// so that sending it costs nothing and reading a field is a walk over bytes that lie together.

#include "host/message.h"

#include <cstring>
#include <utility>

#include "platform/message_layout.h"
#include "platform/wire_bytes.h"

namespace nv {

namespace {

using layout::kFieldHeaderBytes;
using layout::kHeaderBytes;

// Room for an ordinary request or reply, so that a message grows once and not at every field.
constexpr std::size_t kUsualBytes = 512;

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

void stampLength(std::string& wire) {
  wire::store32(bytesOf(wire), layout::headerWord(wire.size()));
}

// Makes the room first: running out of memory must not leave half a field behind.
inline void makeRoom(std::string& wire, std::size_t more) {
  const std::size_t needed = wire.size() + more;
  if (needed > wire.capacity()) {
    wire.reserve(needed < kUsualBytes ? kUsualBytes : needed);
  }
}

// Makes `wire` the message without fields. Allocates nothing: it fits into the string object.
void clear(std::string& wire) {
  wire.assign(kHeaderBytes, '\0');
  stampLength(wire);
}

}  // namespace

// Where a field's value lies in wire_; `at` is npos when there is no such field.
struct message::Found {
  std::size_t at = std::string::npos;
  std::size_t length = 0;

  explicit operator bool() const { return at != std::string::npos; }
};

message::message() { clear(wire_); }

message::message(const message& other) = default;

message::message(message&& other) noexcept
    : wire_(std::move(other.wire_)), mayHold_(std::exchange(other.mayHold_, 0)) {
  clear(other.wire_);
}

message& message::operator=(const message& other) = default;

message& message::operator=(message&& other) noexcept {
  if (this != &other) {
    wire_ = std::move(other.wire_);
    mayHold_ = std::exchange(other.mayHold_, 0);
    clear(other.wire_);
  }
  return *this;
}

message::~message() = default;

// Relies on wire_ being well-formed, which put(), erase() and decode() see to.
message::Found message::find(std::uint32_t id) const {
  if ((mayHold_ & layout::bitOf(id)) == 0) {
    return {};
  }
  unsigned char idBytes[4];
  wire::store32(idBytes, id);
  const std::uint32_t wanted = wire::loadAsIs(idBytes);
  const unsigned char* const begin = bytesOf(wire_);
  const unsigned char* const end = begin + wire_.size();
  const unsigned char* field = begin + kHeaderBytes;
  while (field != end) {
    const std::size_t length = wire::load32(field + 4);
    if (wire::loadAsIs(field) == wanted) {
      return {static_cast<std::size_t>(field - begin) + kFieldHeaderBytes, length};
    }
    field += kFieldHeaderBytes + length;
  }
  return {};
}

// REQUIRES: the length is one that the type of `id` allows, and that of bytes that are really there
// (so that the sum below cannot wrap).
void message::put(std::uint32_t id, const void* value, std::size_t length) {
  const char* const chars = static_cast<const char*>(value);
  const std::uint32_t lengthWord = layout::lengthWord(length);
  const Found old = find(id);
  if (old) {
    wire_.replace(old.at, old.length, chars, length);
    wire::store32(bytesOf(wire_) + old.at - 4, lengthWord);
  } else {
    makeRoom(wire_, kFieldHeaderBytes + length);
    unsigned char header[kFieldHeaderBytes];
    wire::store32(header, id);
    wire::store32(header + 4, lengthWord);
    wire_.append(reinterpret_cast<const char*>(header), sizeof header);
    wire_.append(chars, length);
    mayHold_ |= layout::bitOf(id);
  }
  stampLength(wire_);
}

// The same for the types whose values are all of one length: no other field moves, and the new
// field is added in one piece.
template <std::size_t kBytes>
void message::putNumber(std::uint32_t id, const unsigned char (&value)[kBytes]) {
  if (const Found old = find(id)) {
    std::memcpy(bytesOf(wire_) + old.at, value, kBytes);
    return;
  }
  unsigned char field[kFieldHeaderBytes + kBytes];
  wire::store32(field, id);
  wire::store32(field + 4, kBytes);
  std::memcpy(field + kFieldHeaderBytes, value, kBytes);
  makeRoom(wire_, sizeof field);
  wire_.append(reinterpret_cast<const char*>(field), sizeof field);
  mayHold_ |= layout::bitOf(id);
  stampLength(wire_);
}

void message::insert_bool(std::uint32_t id, bool value) {
  const unsigned char byte[] = {static_cast<unsigned char>(value ? 1 : 0)};
  if (typeOf(id) == kBool) {
    putNumber(id, byte);
  }
}

void message::insert_u32(std::uint32_t id, std::uint32_t value) {
  unsigned char bytes[4];
  wire::store32(bytes, value);
  if (typeOf(id) == kU32) {
    putNumber(id, bytes);
  }
}

void message::insert_be32(std::uint32_t id, std::uint32_t value) {
  unsigned char bytes[4];
  std::memcpy(bytes, &value, sizeof bytes);
  if (typeOf(id) == kU32) {
    putNumber(id, bytes);
  }
}

void message::insert_u64(std::uint32_t id, std::uint64_t value) {
  unsigned char bytes[8];
  wire::store64(bytes, value);
  if (typeOf(id) == kU64) {
    putNumber(id, bytes);
  }
}

void message::insert_string(std::uint32_t id, const std::string& value) {
  if (typeOf(id) == kString) {
    put(id, value.data(), value.size());
  }
}

void message::insert_raw(std::uint32_t id, const std::vector<unsigned char>& value) {
  if (typeOf(id) == kRaw) {
    put(id, value.data(), value.size());
  }
}

void message::insert_u32_array(std::uint32_t id, const std::vector<unsigned>& value) {
  if (typeOf(id) != kU32Array) {
    return;
  }
  std::string bytes(value.size() * 4, '\0');
  for (std::size_t i = 0; i < value.size(); ++i) {
    wire::store32(bytesOf(bytes) + i * 4, value[i]);
  }
  put(id, bytes.data(), bytes.size());
}

bool message::get_bool(std::uint32_t id, bool def) const {
  const Found found = typeOf(id) == kBool ? find(id) : Found();
  return found ? wire_[found.at] != 0 : def;
}

std::uint32_t message::get_u32(std::uint32_t id, std::uint32_t def) const {
  const Found found = typeOf(id) == kU32 ? find(id) : Found();
  return found ? wire::load32(bytesOf(wire_) + found.at) : def;
}

std::uint32_t message::get_be32(std::uint32_t id, std::uint32_t def) const {
  const Found found = typeOf(id) == kU32 ? find(id) : Found();
  return found ? wire::loadAsIs(bytesOf(wire_) + found.at) : def;
}

std::uint64_t message::get_u64(std::uint32_t id, std::uint64_t def) const {
  const Found found = typeOf(id) == kU64 ? find(id) : Found();
  return found ? wire::load64(bytesOf(wire_) + found.at) : def;
}

std::string message::get_string(std::uint32_t id, const std::string& def) const {
  const Found found = typeOf(id) == kString ? find(id) : Found();
  return found ? wire_.substr(found.at, found.length) : def;
}

std::vector<unsigned char> message::get_raw(std::uint32_t id,
                                            const std::vector<unsigned char>& def) const {
  const Found found = typeOf(id) == kRaw ? find(id) : Found();
  if (!found) {
    return def;
  }
  const unsigned char* const from = bytesOf(wire_) + found.at;
  return std::vector<unsigned char>(from, from + found.length);
}

std::vector<unsigned> message::get_u32_array(std::uint32_t id,
                                             const std::vector<unsigned>& def) const {
  const Found found = typeOf(id) == kU32Array ? find(id) : Found();
  if (!found) {
    return def;
  }
  std::vector<unsigned> value(found.length / 4);
  for (std::size_t i = 0; i < value.size(); ++i) {
    value[i] = wire::load32(bytesOf(wire_) + found.at + i * 4);
  }
  return value;
}

unsigned message::size_field(std::uint32_t id) const { return find(id) ? 1 : 0; }

unsigned message::size_u32(std::uint32_t id) const {
  return typeOf(id) == kU32 && find(id) ? 1 : 0;
}

void message::erase(std::uint32_t id) {
  if (const Found found = find(id)) {
    wire_.erase(found.at - kFieldHeaderBytes, kFieldHeaderBytes + found.length);
    stampLength(wire_);
  }
}

std::vector<std::uint32_t> message::ids() const {
  std::vector<std::uint32_t> result;
  const unsigned char* const begin = bytesOf(wire_);
  std::size_t at = kHeaderBytes;
  while (at != wire_.size()) {
    result.push_back(wire::load32(begin + at));
    at += kFieldHeaderBytes + wire::load32(begin + at + 4);
  }
  return result;
}

bool message::fits() const { return wire_.size() <= kMaxMessageBytes; }

const std::string& message::encode() const { return wire_; }

}  // namespace nv
