#include "tools/hotspot_lint_html.h"

#include <algorithm>

#include "platform/ascii.h"

namespace lint {
namespace {

constexpr std::string_view kSpaces = " \t\n\f\r";

bool isSpace(char c) { return kSpaces.find(c) != std::string_view::npos; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  Html read() {
    mark(Place::kText);
    while (at_ < text_.size()) {
      const std::size_t open = text_.find('<', at_);
      if (open == std::string_view::npos) break;
      at_ = open;
      markup();
    }
    return std::move(html_);
  }

 private:
  char peek(std::size_t ahead) const {
    return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
  }

  // What follows `at_` is part of this.
  void mark(Place place, std::size_t tag = Region::kNone, std::size_t attribute = Region::kNone) {
    if (!html_.regions.empty() && html_.regions.back().begin == at_) html_.regions.pop_back();
    html_.regions.push_back({at_, place, tag, attribute});
  }

  void skipBehind(std::string_view sought) {
    const std::size_t found = text_.find(sought, at_);
    at_ = found == std::string_view::npos ? text_.size() : found + sought.size();
  }

  void markup() {
    if (text_.substr(at_).starts_with("<!--")) {
      mark(Place::kComment);
      // "<!-->" and "<!--->" are whole comments.
      at_ += 2;
      skipBehind(peek(2) == '>' || text_.substr(at_ + 2).starts_with("->") ? ">" : "-->");
      mark(Place::kText);
    } else if (peek(1) == '!' || peek(1) == '?' || (peek(1) == '/' && !isLetter(peek(2)))) {
      mark(Place::kComment);
      skipBehind(">");
      mark(Place::kText);
    } else if (isLetter(peek(1)) || (peek(1) == '/' && isLetter(peek(2)))) {
      tag();
    } else {
      ++at_;
    }
  }

  void tag() {
    const std::size_t index = html_.tags.size();
    mark(Place::kTag, index);
    Tag tag;
    tag.begin = at_;
    tag.isEnd = peek(1) == '/';
    at_ += tag.isEnd ? 2 : 1;
    tag.name = lowered(word("/>"));
    html_.tags.push_back(tag);
    while (at_ < text_.size() && peek(0) != '>') attribute(index);
    if (at_ < text_.size()) ++at_;
    mark(Place::kText);
    if (!tag.isEnd) rawText(index);
  }

  // Up to a space or one of these.
  std::string_view word(std::string_view enders) {
    const std::size_t start = at_;
    while (at_ < text_.size() && !isSpace(text_[at_]) &&
           enders.find(text_[at_]) == std::string_view::npos) {
      ++at_;
    }
    return text_.substr(start, at_ - start);
  }

  void skipSpaces() {
    while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
  }

  void attribute(std::size_t index) {
    if (isSpace(peek(0)) || peek(0) == '/') {
      ++at_;
      return;
    }
    Attribute attribute;
    attribute.name = text_[at_++];  // also an equals sign
    attribute.name = lowered(attribute.name + std::string(word("/>=")));
    skipSpaces();
    attribute.begin = attribute.end = at_;
    if (peek(0) == '=' && at_ < text_.size()) {
      ++at_;
      skipSpaces();
      value(index, &attribute);
    }
    html_.tags[index].attributes.push_back(std::move(attribute));
  }

  void value(std::size_t index, Attribute* attribute) {
    const char quote = peek(0);
    const bool isQuoted = quote == '"' || quote == '\'';
    if (isQuoted) ++at_;
    attribute->begin = at_;
    mark(Place::kAttribute, index, html_.tags[index].attributes.size());
    if (isQuoted) {
      attribute->quote = quote;
      at_ = std::min(text_.find(quote, at_), text_.size());
    } else {
      word(">");
    }
    attribute->end = at_;
    attribute->value = text_.substr(attribute->begin, at_ - attribute->begin);
    mark(Place::kTag, index);
    if (isQuoted && at_ < text_.size()) ++at_;
  }

  // The content of an element that holds no tags.
  void rawText(std::size_t index) {
    const std::string& name = html_.tags[index].name;
    Place place;
    if (name == "script") {
      place = Place::kScript;
    } else if (name == "style") {
      place = Place::kStyle;
    } else if (name == "title" || name == "textarea") {
      place = Place::kTitle;
    } else {
      return;
    }
    mark(place, index);
    while (at_ < text_.size()) {
      at_ = std::min(text_.find("</", at_), text_.size());
      const std::string_view rest = text_.substr(at_);
      if (rest.size() > name.size() + 2 &&
          ascii::equalIgnoringCase(rest.substr(2, name.size()), name) &&
          (isSpace(rest[name.size() + 2]) || rest[name.size() + 2] == '/' ||
           rest[name.size() + 2] == '>')) {
        break;
      }
      at_ = std::min(at_ + 2, text_.size());
    }
    mark(Place::kText);
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  Html html_;
};

}  // namespace

const Attribute* Tag::find(std::string_view attribute) const {
  for (const Attribute& candidate : attributes) {
    if (candidate.name == attribute) return &candidate;
  }
  return nullptr;
}

const Region& Html::at(std::size_t offset) const {
  auto behind = std::upper_bound(
      regions.begin(), regions.end(), offset,
      [](std::size_t sought, const Region& region) { return sought < region.begin; });
  return *std::prev(behind);
}

Html readHtml(std::string_view text) { return Tokenizer(text).read(); }

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return result;
}

}  // namespace lint
