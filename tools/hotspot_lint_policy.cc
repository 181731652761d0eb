// What a page's own Content-Security-Policy (CSP level 3, in a meta element) keeps a browser from
// running, applying or loading. A browser says so in a console that no owner opens; the page just
// stays without it.

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

#include "tools/hotspot_lint_links.h"
#include "tools/hotspot_lint_page.h"
#include "tools/hotspot_lint_text.h"

namespace lint {
namespace {

// The sources that each directive of a policy allows, in the order in which they are written.
using Policy = std::map<std::string, std::vector<std::string>>;

// Split at each of these, without what is empty.
std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(separators), text.size());
    if (end > 0) parts.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

Policy readPolicy(std::string_view text) {
  Policy policy;
  for (const std::string_view directive : split(text, ";")) {
    const std::vector<std::string_view> words = split(directive, " \t\n\f\r");
    if (words.empty()) continue;
    // Of two with one name the first counts.
    policy.emplace(lowered(words[0]), std::vector<std::string>(words.begin() + 1, words.end()));
  }
  return policy;
}

// Base64 of the digest, as a policy has it: "sha256-...". Line ends are those that an HTML parser
// makes of them.
std::string hashOf(const std::string& kind, std::string_view written) {
  std::string text;
  for (std::size_t i = 0; i < written.size(); ++i) {
    if (written[i] != '\r') {
      text += written[i];
    } else if (i + 1 == written.size() || written[i + 1] != '\n') {
      text += '\n';
    }
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_get_digestbyname(kind.c_str()),
                 nullptr) != 1) {
    throw std::runtime_error("cannot compute " + kind);
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE* 2> encoded = {};
  const int length = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(size));
  return kind + "-" + std::string(encoded.begin(), encoded.begin() + length);
}

bool isHash(std::string_view source) {
  return source.starts_with("'sha256-") || source.starts_with("'sha384-") ||
         source.starts_with("'sha512-");
}

bool contains(const std::vector<std::string>& sources, std::string_view wanted) {
  return std::ranges::any_of(sources,
                             [&](const std::string& source) { return lowered(source) == wanted; });
}

// Whether a script or style that stands in the page is allowed by 'unsafe-inline', which hashes and
// nonces undo.
bool allowsAnyInline(const std::vector<std::string>& sources) {
  return contains(sources, "'unsafe-inline'") &&
         std::ranges::none_of(sources, [](const std::string& source) {
           return isHash(source) || lowered(source).starts_with("'nonce-");
         });
}

bool allowsInline(const std::vector<std::string>& sources, const Tag& tag, std::string_view text) {
  if (allowsAnyInline(sources)) return true;
  const Attribute* const nonce = tag.find("nonce");
  std::map<std::string, std::string> hashes;  // of the text, by kind
  return std::ranges::any_of(sources, [&](const std::string& source) {
    if (nonce != nullptr && source == "'nonce-" + nonce->value + "'") return true;
    if (!isHash(source)) return false;
    std::string& hash = hashes[source.substr(1, 6)];
    if (hash.empty()) hash = "'" + hashOf(source.substr(1, 6), text) + "'";
    return source == hash;
  });
}

// Whether an address may be loaded. A source that names hosts is taken to fit: which host the
// portal has, a page does not know.
bool allowsAddress(const std::vector<std::string>& sources, bool isData) {
  return std::ranges::any_of(sources, [&](const std::string& written) {
    const std::string source = lowered(written);
    if (source == "data:") return isData;
    return !isData && (source == "'self'" || !source.starts_with('\''));
  });
}

struct Loaded {
  std::string_view tag;
  std::string_view attribute;
  std::string_view directive;
  std::string_view instead;  // the directive that counts when that one is not there; or none
};

constexpr Loaded kLoaded[] = {{"script", "src", "script-src-elem", "script-src"},
                              {"img", "src", "img-src", ""},
                              {"input", "src", "img-src", ""},
                              {"video", "poster", "img-src", ""},
                              {"image", "href", "img-src", ""},
                              {"body", "background", "img-src", ""},
                              {"video", "src", "media-src", ""},
                              {"audio", "src", "media-src", ""},
                              {"track", "src", "media-src", ""},
                              {"iframe", "src", "frame-src", "child-src"},
                              {"frame", "src", "frame-src", "child-src"},
                              {"embed", "src", "object-src", ""},
                              {"object", "data", "object-src", ""}};

class PolicyCheck {
 public:
  explicit PolicyCheck(const ViewCheck& check) : check_(check) {}

  // A policy counts for what stands behind it. One of which nothing can be said is left out.
  void run() {
    for (std::size_t i = 0; i < check_.html.tags.size(); ++i) {
      const Tag& tag = check_.html.tags[i];
      if (tag.isEnd) continue;
      if (tag.name == "meta") {
        policy(tag);
      } else if (policy_) {
        element(tag, i);
      }
    }
  }

 private:
  void policy(const Tag& tag) {
    const Attribute* const kind = tag.find("http-equiv");
    const Attribute* const content = tag.find("content");
    if (kind == nullptr || content == nullptr) return;
    if (lowered(kind->value) != "content-security-policy") return;
    if (content->value.find('&') == std::string::npos) policy_ = readPolicy(content->value);
  }

  // What the policy allows of a kind; nullptr when it says nothing of it.
  const std::vector<std::string>* sourcesOf(std::string_view directive, std::string_view instead,
                                            std::string* name) const {
    for (const std::string_view candidate : {directive, instead, std::string_view("default-src")}) {
      const auto found = policy_->find(std::string(candidate));
      if (found == policy_->end()) continue;
      *name = found->first;
      return &found->second;
    }
    return nullptr;
  }

  void element(const Tag& tag, std::size_t index) const {
    const bool isScript = tag.name == "script";
    if ((isScript && tag.find("src") == nullptr && runs(tag)) || tag.name == "style") {
      inlineText(tag, index, isScript);
    }
    for (const Attribute& attribute : tag.attributes) {
      if (attribute.name == "style") {
        inlineAttribute(attribute, "style-src-attr", "style-src", "put it into a style sheet");
      } else if (attribute.name.starts_with("on") && attribute.name.size() > 2) {
        inlineAttribute(attribute, "script-src-attr", "script-src",
                        "add it with addEventListener in a script file");
      } else {
        address(tag, attribute);
      }
    }
  }

  // Whether a script element is one that browsers run; others hold data.
  static bool runs(const Tag& tag) {
    const Attribute* const type = tag.find("type");
    if (type == nullptr || type->value.empty()) return true;
    const std::string kind = lowered(type->value);
    return kind == "module" || kind.find("javascript") != std::string::npos ||
           kind.find("ecmascript") != std::string::npos;
  }

  // The text between a tag and its end.
  std::string_view textOf(std::size_t index, Place place) const {
    const std::vector<Region>& regions = check_.html.regions;
    const std::size_t begin = check_.html.tags[index].begin;
    // Behind the regions of the tag and its attributes comes that of its text.
    auto region = std::ranges::lower_bound(regions, begin, {}, &Region::begin);
    while (region != regions.end() && region->tag == index && region->place != place) ++region;
    if (region == regions.end() || region->tag != index) return {};
    const auto next = std::next(region);
    const std::size_t end = next == regions.end() ? check_.view.text.size() : next->begin;
    return std::string_view(check_.view.text).substr(region->begin, end - region->begin);
  }

  void inlineText(const Tag& tag, std::size_t index, bool isScript) const {
    std::string name;
    const std::vector<std::string>* const sources =
        isScript ? sourcesOf("script-src-elem", "script-src", &name)
                 : sourcesOf("style-src-elem", "style-src", &name);
    const std::string_view text = textOf(index, isScript ? Place::kScript : Place::kStyle);
    if (sources == nullptr || text.empty() || allowsInline(*sources, tag, text)) return;
    const std::string what = isScript ? "this script does not run" : "this style does not count";
    if (text.find(kValueByte) != std::string_view::npos) {
      report(tag.begin, what, name,
             "no hash fits a text that holds a value; put the value into a data- attribute");
    } else {
      report(tag.begin, what, name,
             "put it into a file, or '" + hashOf("sha256", text) + "' into the policy");
    }
  }

  void inlineAttribute(const Attribute& attribute, std::string_view directive,
                       std::string_view instead, const std::string& remedy) const {
    std::string name;
    const std::vector<std::string>* const sources = sourcesOf(directive, instead, &name);
    if (sources == nullptr || allowsAnyInline(*sources) || contains(*sources, "'unsafe-hashes'")) {
      return;
    }
    report(attribute.begin, "\"" + shown(attribute.name) + "\" has no effect", name, remedy);
  }

  void address(const Tag& tag, const Attribute& attribute) const {
    const Loaded* loaded = nullptr;
    for (const Loaded& candidate : kLoaded) {
      if (candidate.tag == tag.name && candidate.attribute == attribute.name) loaded = &candidate;
    }
    static constexpr Loaded kSheet = {"link", "href", "style-src-elem", "style-src"};
    static constexpr Loaded kIcon = {"link", "href", "img-src", ""};
    if (tag.name == "link" && attribute.name == "href") {
      const Attribute* const rel = tag.find("rel");
      const std::string kind = rel == nullptr ? "" : lowered(rel->value);
      if (kind.find("stylesheet") != std::string::npos) loaded = &kSheet;
      if (kind.find("icon") != std::string::npos) loaded = &kIcon;
    }
    if (loaded == nullptr) return;
    const bool isData = lowered(attribute.value.substr(0, 5)) == "data:";
    if (!isData && readAddress(attribute.value).kind != Address::Kind::kPortal) return;
    std::string name;
    const std::vector<std::string>* const sources =
        sourcesOf(loaded->directive, loaded->instead, &name);
    if (sources == nullptr || allowsAddress(*sources, isData)) return;
    report(attribute.begin, "\"" + shown(attribute.value) + "\" is not loaded", name,
           std::string("write ") + (isData ? "data:" : "'self'") + " there");
  }

  void report(std::size_t at, const std::string& what, const std::string& directive,
              const std::string& remedy) const {
    check_.page.findings.add(
        Rule::kPolicy, check_.sourceOf(at),
        what + ": the page's own policy forbids it (" + directive + "); " + remedy);
  }

  const ViewCheck& check_;
  std::optional<Policy> policy_;  // the last that was read
};

}  // namespace

void checkPolicy(const ViewCheck& check) { PolicyCheck(check).run(); }

}  // namespace lint
