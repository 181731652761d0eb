#include "tools/hotspot_lint_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>

namespace lint {
namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::size_t characterAt(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(at);
  if (first < 0x80) return 1;
  const std::size_t length = first < 0xc2   ? 0
                             : first < 0xe0 ? 2
                             : first < 0xf0 ? 3
                             : first < 0xf5 ? 4
                                            : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xc0) != 0x80) return 0;
  }
  const unsigned second = byte(at + 1);
  const bool isOverlong = (first == 0xe0 && second < 0xa0) || (first == 0xf0 && second < 0x90);
  const bool isOutside = (first == 0xed && second > 0x9f) || (first == 0xf4 && second > 0x8f);
  return isOverlong || isOutside ? 0 : length;
}

std::size_t findBadUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterAt(text, at);
    if (length == 0) return at;
    at += length;
  }
  return std::string_view::npos;
}

Places::Place Places::at(std::size_t offset) {
  while (done_ < offset && done_ < text_.size()) {
    if (text_[done_] == '\n') {
      ++place_.line;
      place_.column = 1;
      ++done_;
      continue;
    }
    const std::size_t length = std::max<std::size_t>(characterAt(text_, done_), 1);
    if (done_ + length > offset) break;
    ++place_.column;
    done_ += length;
  }
  return place_;
}

std::string shown(std::string_view text) {
  constexpr std::size_t kMost = 60;
  std::string result;
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    if (count == kMost) return result + "...";
    const std::size_t length = characterAt(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool isC1 =
        byte == 0xc2 && length == 2 && static_cast<unsigned char>(text[at + 1]) < 0xa0;
    if (length == 0 || byte < 0x20 || byte == 0x7f || isC1) {
      std::array<char, 8> hex{};
      std::snprintf(hex.data(), hex.size(), "\\x%02x", byte);
      result += text[at] == '\n' ? "\\n" : text[at] == '\t' ? "\\t" : hex.data();
      ++at;
    } else {
      result += text.substr(at, length);
      at += length;
    }
  }
  return result;
}

std::size_t distance(std::string_view a, std::string_view b, std::size_t most) {
  if (a.size() > b.size() + most || b.size() > a.size() + most) return most + 1;
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return std::min(row[b.size()], most + 1);
}

std::string_view nearest(std::string_view name, const std::vector<std::string_view>& candidates) {
  const std::size_t most = std::min<std::size_t>(name.size() / 3, 3);
  std::string_view best;
  std::size_t bestDistance = most + 1;
  for (const std::string_view candidate : candidates) {
    const std::size_t between = distance(name, candidate, most);
    if (between >= bestDistance) continue;
    best = candidate;
    bestDistance = between;
  }
  return best;
}

bool looksLikeName(std::string_view text) {
  return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
    return isLetter(c) || isDigit(c) || c == '-' || c == '_';
  });
}

std::vector<std::string_view> wordsOf(std::string_view list) {
  std::vector<std::string_view> words;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (end > 0) words.push_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return words;
}

}  // namespace lint
