#include "template/text_scan.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// A machine word whose every byte is `byte`.
using Word = std::size_t;
constexpr Word repeat(unsigned char byte) { return static_cast<Word>(-1) / 0xFF * byte; }

// Non-zero when a byte of `word` is zero, whatever the byte order.
constexpr Word zeroByte(Word word) { return (word - repeat(0x01)) & ~word & repeat(0x80); }

template <char... kSought>
constexpr bool isSought(char c) {
  return ((c == kSought) || ...);
}

// First byte of [from, end) that is one of kSought: the start byte by byte, since it is often there
// at once, then four words at a step.
template <char... kSought>
const char* findFirst(const char* from, const char* end) {
  constexpr std::size_t kStep = 4 * sizeof(Word);
  constexpr std::ptrdiff_t kNear = 16;
  const char* const nearEnd = end - from > kNear ? from + kNear : end;
  for (; from < nearEnd; ++from) {
    if (isSought<kSought...>(*from)) return from;
  }
  while (static_cast<std::size_t>(end - from) >= kStep) {
    Word words[4];
    std::memcpy(words, from, kStep);
    Word hit = 0;
    for (const Word word : words) {
      hit |= (zeroByte(word ^ repeat(static_cast<unsigned char>(kSought))) | ...);
    }
    if (hit != 0) break;
    from += kStep;
  }
  while (from < end && !isSought<kSought...>(*from)) ++from;
  return from;
}

}  // namespace

const char* findSpecial(const char* from, const char* end) {
  return findFirst<'\\', '$', '%'>(from, end);
}

const char* findCloser(const char* from, const char* end) { return findFirst<')', '%'>(from, end); }

const char* findBlank(const char* from, const char* end) { return findFirst<' ', '\t'>(from, end); }
