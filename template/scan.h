// The first of a set of characters in a text, a block of bytes at a time. Pure functions; nothing
// in front of `at` and nothing from `end` on is read; any bytes, any alignment, either byte order.

#ifndef TEMPLATE_SCAN_H_
#define TEMPLATE_SCAN_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace scan {

#ifdef __SSE2__

// Sixteen bytes in a vector register. A mask has all bits of a byte set, or none.
class Block {
  using Bytes = signed char __attribute__((vector_size(16)));

 public:
  static constexpr std::ptrdiff_t kBytes = sizeof(Bytes);

  static Block load(const char* at) {
    Bytes bytes;
    std::memcpy(&bytes, at, sizeof bytes);
    return bytes;
  }
  // Every byte with these bits added.
  Block with(signed char bits) const { return bytes_ | all(bits); }
  Block equal(signed char c) const { return bytes_ == all(c); }
  Block operator|(Block mask) const { return bytes_ | mask.bytes_; }

  // Of a mask: whether a byte is set, and the index of the first one that is.
  bool any() const { return bits() != 0; }
  int first() const { return std::countr_zero(bits()); }

 private:
  using Lanes = char __attribute__((vector_size(16)));  // as the instruction below has them

  Block(Bytes bytes) : bytes_(bytes) {}
  static Bytes all(signed char c) { return Bytes{c, c, c, c, c, c, c, c, c, c, c, c, c, c, c, c}; }
  unsigned bits() const {
    return static_cast<unsigned>(__builtin_ia32_pmovmskb128(reinterpret_cast<Lanes>(bytes_)));
  }

  Bytes bytes_;
};

#else

// The bytes of a machine word. A mask has the highest bit of a byte set, or none.
class Block {
  using Word = std::uintptr_t;

 public:
  static constexpr std::ptrdiff_t kBytes = sizeof(Word);

  static Block load(const char* at) {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
  }
  Block with(signed char bits) const { return bytes_ | all(bits); }
  Block equal(signed char c) const {
    const Word differing = bytes_ ^ all(c);
    // No carry leaves its byte: exact for every byte, whichever end the first one is at.
    return ~(((differing & all(0x7F)) + all(0x7F)) | differing | all(0x7F));
  }
  Block operator|(Block mask) const { return bytes_ | mask.bytes_; }

  bool any() const { return bytes_ != 0; }
  int first() const {
    constexpr bool kLittle = std::endian::native == std::endian::little;
    return (kLittle ? std::countr_zero(bytes_) : std::countl_zero(bytes_)) / 8;
  }

 private:
  Block(Word bytes) : bytes_(bytes) {}
  static constexpr Word all(signed char c) {
    return ~Word{0} / 0xFF * static_cast<unsigned char>(c);
  }

  Word bytes_;
};

#endif

// What opens a directive: '$' and '%', which differ in their lowest bit alone.
struct Opener {
  static Block in(Block block) { return block.with('\x01').equal('%'); }
  static bool is(char c) { return (c | 1) == '%'; }
};

inline bool isCloser(char c) { return c == ')' || c == '%'; }
inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

// What ends a word of a directive.
struct Delimiter {
  static Block in(Block block) {
    return (block.equal(')') | block.equal('%')) | (block.equal(' ') | block.equal('\t'));
  }
  static bool is(char c) { return isCloser(c) || isBlank(c); }
};

// What markup gives a meaning: '<' and '>', which differ in one bit, and '&'.
struct Markup {
  static Block in(Block block) { return block.with('\x02').equal('>') | block.equal('&'); }
  static bool is(char c) { return (c | 2) == '>' || c == '&'; }
};

// The first one of these at or behind `at`, or `end`.
template <typename Sought>
const char* find(const char* at, const char* end) {
  constexpr std::ptrdiff_t kStep = Block::kBytes;
  constexpr std::ptrdiff_t kStride = 4 * kStep;
  if (end - at < kStep) {
    while (at < end && !Sought::is(*at)) ++at;
    return at;
  }
  const Block start = Sought::in(Block::load(at));
  if (start.any()) return at + start.first();
  at += kStep;
  // Four blocks with a single branch, so that text is passed over as quickly as memory gives it.
  if (end - at >= kStride) {
    const char* const last = end - kStride;
    do {
      const Block hits[] = {Sought::in(Block::load(at)), Sought::in(Block::load(at + kStep)),
                            Sought::in(Block::load(at + 2 * kStep)),
                            Sought::in(Block::load(at + 3 * kStep))};
      if (((hits[0] | hits[1]) | (hits[2] | hits[3])).any()) break;
      at += kStride;
    } while (at <= last);
  }
  for (; end - at >= kStep; at += kStep) {
    const Block hits = Sought::in(Block::load(at));
    if (hits.any()) return at + hits.first();
  }
  // The rest, in a block that begins in front of it, where nothing was found.
  const Block hits = Sought::in(Block::load(end - kStep));
  return hits.any() ? end - kStep + hits.first() : end;
}

}  // namespace scan

#endif  // TEMPLATE_SCAN_H_
