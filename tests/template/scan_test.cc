// The search for characters a block at a time against the same search byte by byte.

#include "template/scan.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

// Longer than what is searched in one go on any machine, twice over.
constexpr std::size_t kLongest = 150;

template <typename Sought>
const char* find(const char* at, const char* end) {
  return scan::find<Sought>(at, end);
}

struct Search {
  const char* (*find)(const char*, const char*);
  std::string_view sought;
};

const Search kSearches[] = {
    {find<scan::Opener>, "$%"}, {find<scan::Delimiter>, ")% \t"}, {find<scan::Markup>, "<>&"}};

TEST(Scan, FindsEachOfItsCharactersAndNoOtherWhereverItStands) {
  for (const Search& search : kSearches) {
    for (int value = 0; value < 256; ++value) {
      const char c = static_cast<char>(value);
      const bool sought = search.sought.find(c) != std::string_view::npos;
      std::string text(kLongest, 'x');
      for (std::size_t at = 0; at < text.size(); ++at) {
        text[at] = c;
        const char* const start = text.data();
        const char* const expected = start + (sought ? at : text.size());
        ASSERT_EQ(search.find(start, start + text.size()), expected) << value << " at " << at;
        text[at] = 'x';
      }
    }
  }
}

TEST(Scan, FindsTheFirstOfMany) {
  for (const Search& search : kSearches) {
    const std::string all(kLongest, search.sought.back());
    for (std::size_t plain = 0; plain <= kLongest; ++plain) {
      const std::string text = std::string(plain, 'x') + all;
      EXPECT_EQ(search.find(text.data(), text.data() + text.size()), text.data() + plain);
    }
  }
}

// The text has memory of its own, so that a read outside is one that the sanitizer sees.
TEST(Scan, StaysWithinItsTextWhateverLiesAround) {
  for (const Search& search : kSearches) {
    for (std::size_t length = 0; length <= kLongest; ++length) {
      for (const std::size_t before : {0u, 1u, 2u, 3u, 5u, 8u, 13u}) {
        const std::string around(before, search.sought.front());
        const std::string text = around + std::string(length, 'x') + around;
        const char* const start = text.data() + before;
        ASSERT_EQ(search.find(start, start + length), start + length) << length << ' ' << before;
        const std::vector<char> alone(length, 'x');
        ASSERT_EQ(search.find(alone.data(), alone.data() + length), alone.data() + length);
      }
    }
  }
}

}  // namespace
