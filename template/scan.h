// Characters of a set in a text, and texts compared, a block of bytes at a time. Pure functions;
// nothing outside the text is read; any bytes, any alignment, either byte order.

#ifndef TEMPLATE_SCAN_H_
#define TEMPLATE_SCAN_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace scan {

#ifdef __SSE2__

// Sixteen bytes in a vector register. A mask has all bits of a byte set, or none.
class Block {
  using Bytes = signed char __attribute__((vector_size(16)));
  using Halves = std::uint64_t __attribute__((vector_size(16)));

 public:
  static constexpr std::ptrdiff_t kBytes = sizeof(Bytes);

  static Block load(const char* at) noexcept {
    Bytes bytes;
    std::memcpy(&bytes, at, sizeof bytes);
    return bytes;
  }
  // Four to fifteen bytes, in any order and some of them more than once.
  static Block loadShort(const char* at, std::size_t size) noexcept {
    std::uint64_t words[2];
    if (size >= sizeof words[0]) {
      std::memcpy(&words[0], at, sizeof words[0]);
      std::memcpy(&words[1], at + size - sizeof words[1], sizeof words[1]);
    } else {
      std::uint32_t halves[2];
      std::memcpy(&halves[0], at, sizeof halves[0]);
      std::memcpy(&halves[1], at + size - sizeof halves[1], sizeof halves[1]);
      words[0] = words[1] = std::uint64_t{halves[0]} << 32 | halves[1];
    }
    return reinterpret_cast<Bytes>(Halves{words[0], words[1]});
  }
  // Every byte with these bits added.
  Block with(signed char bits) const noexcept { return bytes_ | all(bits); }
  Block equal(signed char c) const noexcept { return bytes_ == all(c); }
  Block operator|(Block mask) const noexcept { return bytes_ | mask.bytes_; }

  // Of a mask: whether a byte is set, and the index of the first one that is.
  bool any() const noexcept { return bits() != 0; }
  int first() const noexcept { return std::countr_zero(bits()); }
  // A bit for each byte that is set, from the lowest one on.
  unsigned bits() const noexcept {
    return static_cast<unsigned>(__builtin_ia32_pmovmskb128(reinterpret_cast<Lanes>(bytes_)));
  }

 private:
  using Lanes = char __attribute__((vector_size(16)));  // as the instruction above has them

  Block(Bytes bytes) noexcept : bytes_(bytes) {}
  static Bytes all(signed char c) noexcept {
    return Bytes{c, c, c, c, c, c, c, c, c, c, c, c, c, c, c, c};
  }

  Bytes bytes_;
};

// Which bytes of a stretch of `kBlocks` blocks are in a set.
template <int kBlocks>
class Hits {
 public:
  static constexpr std::ptrdiff_t kBytes = kBlocks * Block::kBytes;
  static_assert(kBytes <= 64);

  Hits() = default;  // none
  template <typename Sought>
  static Hits of(const char* at) noexcept {
    std::uint64_t bits = 0;
    for (int i = 0; i < kBlocks; ++i) {
      const Block hits = Sought::in(Block::load(at + i * Block::kBytes));
      bits |= std::uint64_t{hits.bits()} << i * Block::kBytes;
    }
    return Hits(bits);
  }
  bool any() const noexcept { return bits_ != 0; }
  int first() const noexcept { return std::countr_zero(bits_); }
  Hits withoutFirst() const noexcept { return Hits(bits_ & (bits_ - 1)); }
  // Those from this byte of the stretch on, which counts as the first then.
  Hits from(std::ptrdiff_t at) const noexcept { return Hits(bits_ >> at); }

 private:
  explicit Hits(std::uint64_t bits) noexcept : bits_(bits) {}

  std::uint64_t bits_ = 0;
};

#else

// The bytes of a machine word. A mask has the highest bit of a byte set, or none.
class Block {
  using Word = std::uintptr_t;

 public:
  static constexpr std::ptrdiff_t kBytes = sizeof(Word);

  static Block load(const char* at) noexcept {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
  }
  static Block none() noexcept { return Word{0}; }
  // Four bytes, or up to seven, in any order and some of them more than once.
  static Block loadShort(const char* at, std::size_t size) noexcept {
    std::uint32_t halves[2];
    std::memcpy(&halves[0], at, sizeof halves[0]);
    std::memcpy(&halves[1], at + size - sizeof halves[1], sizeof halves[1]);
    if constexpr (sizeof(Word) == sizeof halves[0]) return halves[0];
    return static_cast<Word>(std::uint64_t{halves[0]} << 32 | halves[1]);
  }
  Block with(signed char bits) const noexcept { return bytes_ | all(bits); }
  Block equal(signed char c) const noexcept {
    const Word differing = bytes_ ^ all(c);
    // No carry leaves its byte: exact for every byte, whichever end the first one is at.
    return ~(((differing & all(0x7F)) + all(0x7F)) | differing | all(0x7F));
  }
  Block operator|(Block mask) const noexcept { return bytes_ | mask.bytes_; }

  bool any() const noexcept { return bytes_ != 0; }
  int first() const noexcept {
    return (kLittle ? std::countr_zero(bytes_) : std::countl_zero(bytes_)) / 8;
  }
  Block withoutFirst() const noexcept {
    return kLittle ? bytes_ & (bytes_ - 1) : bytes_ & ~(kHighest >> std::countl_zero(bytes_));
  }
  Block from(std::ptrdiff_t at) const noexcept {
    return kLittle ? bytes_ >> 8 * at : bytes_ << 8 * at;
  }

 private:
  static constexpr bool kLittle = std::endian::native == std::endian::little;
  static constexpr Word kHighest = ~(~Word{0} >> 1);

  Block(Word bytes) noexcept : bytes_(bytes) {}
  static constexpr Word all(signed char c) noexcept {
    return ~Word{0} / 0xFF * static_cast<unsigned char>(c);
  }

  Word bytes_;
};

// Which bytes of a stretch are in a set. One block is looked at here, however many would do: more
// would cost what they save.
template <int>
class Hits {
 public:
  static constexpr std::ptrdiff_t kBytes = Block::kBytes;

  Hits() noexcept : mask_(Block::none()) {}
  template <typename Sought>
  static Hits of(const char* at) noexcept {
    return Hits(Sought::in(Block::load(at)));
  }
  bool any() const noexcept { return mask_.any(); }
  int first() const noexcept { return mask_.first(); }
  Hits withoutFirst() const noexcept { return Hits(mask_.withoutFirst()); }
  Hits from(std::ptrdiff_t at) const noexcept { return Hits(mask_.from(at)); }

 private:
  explicit Hits(Block mask) noexcept : mask_(mask) {}

  Block mask_;
};

#endif

// What opens a directive: '$' and '%', which differ in their lowest bit alone.
struct Opener {
  static Block in(Block block) noexcept { return block.with('\x01').equal('%'); }
  static bool is(char c) noexcept { return (c | 1) == '%'; }
};

inline bool isCloser(char c) { return c == ')' || c == '%'; }
inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

// What ends a word of a directive.
struct Delimiter {
  static Block in(Block block) noexcept {
    return (block.equal(')') | block.equal('%')) | (block.equal(' ') | block.equal('\t'));
  }
  static bool is(char c) noexcept { return isCloser(c) || isBlank(c); }
};

// What markup gives a meaning: '<' and '>', which differ in one bit, and '&'.
struct Markup {
  static Block in(Block block) noexcept { return block.with('\x02').equal('>') | block.equal('&'); }
  static bool is(char c) noexcept { return (c | 2) == '>' || c == '&'; }
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

// Whether a text holds one of these; quicker than find() for short ones.
template <typename Sought>
bool holds(std::string_view text) {
  const char* const end = text.data() + text.size();
  if (text.size() >= Block::kBytes) return find<Sought>(text.data(), end) != end;
  if (text.size() < sizeof(std::uint32_t)) return std::any_of(text.data(), end, Sought::is);
  return Sought::in(Block::loadShort(text.data(), text.size())).any();
}

// Whether two texts are the same: names are short, and a call would take longer than to compare
// them.
inline bool same(std::string_view one, std::string_view other) {
  const std::size_t size = one.size();
  if (size != other.size()) return false;
  const auto differ = [&]<typename Word>(Word, std::size_t at) {
    Word words[2];
    std::memcpy(&words[0], one.data() + at, sizeof(Word));
    std::memcpy(&words[1], other.data() + at, sizeof(Word));
    return words[0] != words[1];
  };
  if (size >= sizeof(std::uint64_t)) {
    const std::size_t last = size - sizeof(std::uint64_t);
    for (std::size_t at = 0; at < last; at += sizeof(std::uint64_t)) {
      if (differ(std::uint64_t{}, at)) return false;
    }
    return !differ(std::uint64_t{}, last);
  }
  if (size >= sizeof(std::uint32_t)) {
    return !differ(std::uint32_t{}, 0) && !differ(std::uint32_t{}, size - sizeof(std::uint32_t));
  }
  for (std::size_t at = 0; at < size; ++at) {
    if (one[at] != other[at]) return false;
  }
  return true;
}

}  // namespace scan

#endif  // TEMPLATE_SCAN_H_
