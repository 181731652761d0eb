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

template <typename Sought>
bool holds(const std::string& text) {
  return scan::holds<Sought>(text);
}

struct Question {
  bool (*holds)(const std::string&);
  std::string_view sought;
};

const Question kQuestions[] = {
    {holds<scan::Opener>, "$%"}, {holds<scan::Delimiter>, ")% \t"}, {holds<scan::Markup>, "<>&"}};

// Every length has a way of its own up to a block's.
TEST(ScanHolds, TellsOfEachCharacterWhereverItStandsInATextOfAnyLength) {
  for (const Question& question : kQuestions) {
    for (std::size_t length = 0; length <= 40; ++length) {
      std::string text(length, 'x');
      ASSERT_FALSE(question.holds(text)) << length;
      for (std::size_t at = 0; at < length; ++at) {
        for (int value = 0; value < 256; ++value) {
          text[at] = static_cast<char>(value);
          const bool expected = question.sought.find(text[at]) != std::string_view::npos;
          ASSERT_EQ(question.holds(text), expected) << value << " at " << at << " of " << length;
        }
        text[at] = 'x';
      }
    }
  }
}

TEST(ScanHolds, StaysWithinItsText) {
  const std::string around = "$%) \t<>&";
  for (std::size_t length = 0; length <= 40; ++length) {
    const std::string text = around + std::string(length, 'x') + around;
    const std::string_view inner(text.data() + around.size(), length);
    ASSERT_FALSE(scan::holds<scan::Opener>(inner)) << length;
    ASSERT_FALSE(scan::holds<scan::Delimiter>(inner)) << length;
    ASSERT_FALSE(scan::holds<scan::Markup>(inner)) << length;
  }
}

TEST(ScanSame, SeesEveryDifferenceInATextOfAnyLength) {
  for (std::size_t length = 0; length <= 70; ++length) {
    std::string one(length, 'x');
    const std::vector<char> other(one.begin(), one.end());
    const std::string_view text(other.data(), length);
    ASSERT_TRUE(scan::same(one, text)) << length;
    ASSERT_FALSE(scan::same(one + "x", text)) << length;
    ASSERT_FALSE(scan::same(text, one + "x")) << length;
    for (std::size_t at = 0; at < length; ++at) {
      one[at] = 'y';
      ASSERT_FALSE(scan::same(one, text)) << at << " of " << length;
      one[at] = 'x';
    }
  }
}

TEST(ScanSame, TakesNoNoticeOfWhatLiesBehind) {
  for (std::size_t length = 0; length <= 70; ++length) {
    const std::string one = std::string(length, 'x') + "ab";
    const std::string other = std::string(length, 'x') + "cd";
    const auto start = [length](const std::string& text) {
      return std::string_view(text).substr(0, length);
    };
    ASSERT_TRUE(scan::same(start(one), start(other))) << length;
  }
}

}  // namespace
