// Numbers as they lie in a byte buffer, most significant byte first, at any alignment and on any
// machine. Plain functions over memory that the caller has checked.

#ifndef PLATFORM_WIRE_BYTES_H_
#define PLATFORM_WIRE_BYTES_H_

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>

namespace wire {

// REQUIRES: 2, 4 or 8 bytes at `from`.
inline std::uint32_t load16(const unsigned char* from) {
  return static_cast<std::uint32_t>(from[0]) << 8 | from[1];
}

inline std::uint32_t load32(const unsigned char* from) {
  return load16(from) << 16 | load16(from + 2);
}

inline std::uint64_t load64(const unsigned char* from) {
  return static_cast<std::uint64_t>(load32(from)) << 32 | load32(from + 4);
}

// REQUIRES: room for 4 or 8 bytes at `to`.
inline void store32(unsigned char* to, std::uint32_t value) {
  const std::uint32_t word = htonl(value);
  std::memcpy(to, &word, sizeof word);
}

inline void store64(unsigned char* to, std::uint64_t value) {
  store32(to, static_cast<std::uint32_t>(value >> 32));
  store32(to + 4, static_cast<std::uint32_t>(value));
}

// The word whose bytes in memory are those at `from`, in the same order: for comparing and for
// values that are kept in network byte order.
inline std::uint32_t loadAsIs(const unsigned char* from) {
  std::uint32_t word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

}  // namespace wire

#endif  // PLATFORM_WIRE_BYTES_H_
