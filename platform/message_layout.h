// The layout of a message's wire form, shared by what writes it and what checks it.
// docs/message-format.md is its description.

#ifndef PLATFORM_MESSAGE_LAYOUT_H_
#define PLATFORM_MESSAGE_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "host/message.h"

namespace nv::layout {

// A message opens with one word: the format's version in the top byte, the length of the whole
// message, this word included, in the other three. A message that is too long to be sent says 0
// there, which no reader takes.
constexpr std::size_t kHeaderBytes = 4;
constexpr std::uint32_t kVersion = 1;

// A field opens with its id (4 bytes) and its value's length (4 bytes).
constexpr std::size_t kFieldHeaderBytes = 8;
static_assert(kMaxMessageBytes <= 0xffffff, "a message's length has to fit into 3 bytes");

constexpr std::uint32_t headerWord(std::size_t messageBytes) {
  const std::size_t told = messageBytes <= kMaxMessageBytes ? messageBytes : 0;
  return kVersion << 24 | static_cast<std::uint32_t>(told);
}

// The length of a value as its field says it. Throws std::length_error when 4 bytes do not hold it.
constexpr std::uint32_t lengthWord(std::size_t valueBytes) {
  const auto word = static_cast<std::uint32_t>(valueBytes);
  if (word != valueBytes) {
    throw std::length_error("a message's value is below 4 GiB");
  }
  return word;
}

// Whether a value of the type of `id` can have that length. False for an id of no known type.
constexpr bool lengthFits(std::uint32_t id, std::size_t length) {
  switch (typeOf(id)) {
    case kBool:
      return length == 1;
    case kU32:
      return length == 4;
    case kU64:
      return length == 8;
    case kString:
    case kRaw:
      return true;
    case kU32Array:
      return length % 4 == 0;
    default:
      return false;
  }
}

// One bit of 64. The ids of a message seldom share one: those of a type are numbered in sequence.
constexpr std::uint64_t bitOf(std::uint32_t id) {
  return std::uint64_t{1} << ((id ^ typeOf(id)) % 64);
}

}  // namespace nv::layout

#endif  // PLATFORM_MESSAGE_LAYOUT_H_
