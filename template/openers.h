// The characters that open a directive, one after the other, whatever lies between them.

#ifndef TEMPLATE_OPENERS_H_
#define TEMPLATE_OPENERS_H_

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "template/scan.h"

// One character's places, far apart: the C library's search knows the machine's widest registers.
class Places {
 public:
  // The text from `start` to `end` outlives the object.
  Places(char sought, const char* start, const char* end)
      : sought_(sought), end_(end), next_(start), searched_(start) {}

  // The first place at or behind `at`, or one behind `at` up to which there is none (the end,
  // unless it is far). `at` never goes back.
  const char* next(const char* at) noexcept {
    if (next_ < at || searched_ == at) search(at);
    return next_;
  }

 private:
  // Text is searched this far ahead: it is still in the nearest cache when it is copied.
  static constexpr std::ptrdiff_t kAhead = 4096;

  void search(const char* at) noexcept {
    searched_ = end_ - at > kAhead ? at + kAhead : end_;
    const void* const found = std::memchr(at, sought_, static_cast<std::size_t>(searched_ - at));
    next_ = found == nullptr ? searched_ : static_cast<const char*>(found);
  }

  const char sought_;
  const char* const end_;
  const char* next_;      // the last answer
  const char* searched_;  // where the last search was to end
};

// The places of both characters. What lies close together is searched once: a page has its
// directives in flocks.
class Openers {
 public:
  // The text from `start` to `end` outlives the object.
  Openers(const char* start, const char* end)
      : end_(end), near_(start), dollars_('$', start, end), percents_('%', start, end) {}

  // The first '$' or '%' at or behind `at`, or the end. `at` never goes back.
  const char* next(const char* at) noexcept {
    if (at < near_) {
      const Hits hits = hits_.from(Hits::kBytes - (near_ - at));
      if (hits.any()) return at + hits.first();
      at = near_;
    }
    return search(at);
  }

 private:
  using Hits = scan::Hits<4>;

  const char* search(const char* at) noexcept {
    if (end_ - at >= Hits::kBytes) {
      hits_ = Hits::of<scan::Opener>(at);
      near_ = at + Hits::kBytes;
      if (hits_.any()) return at + hits_.first();
      at = near_;
    }
    while (at != end_) {
      at = std::min(dollars_.next(at), percents_.next(at));
      if (at != end_ && scan::Opener::is(*at)) break;
    }
    return at;
  }

  const char* const end_;
  const char* near_;  // end of the stretch that was looked at last
  Hits hits_;         // in that stretch
  Places dollars_;
  Places percents_;
};

#endif  // TEMPLATE_OPENERS_H_
