#include "tools/hotspot_lint_links.h"

#include <algorithm>
#include <array>

#include "template/escape.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_names.h"

namespace lint {
namespace {

struct UrlAttribute {
  std::string_view tag;
  std::string_view attribute;
  bool isLoaded;  // by the browser, without being asked
};

// Several addresses, of which a browser loads one.
constexpr std::string_view kSet = "srcset";

constexpr UrlAttribute kUrls[] = {{"a", "href", false},
                                  {"area", "href", false},
                                  {"link", "href", true},
                                  {"script", "src", true},
                                  {"img", "src", true},
                                  {"img", kSet, true},
                                  {"iframe", "src", true},
                                  {"frame", "src", true},
                                  {"source", "src", true},
                                  {"source", kSet, true},
                                  {"audio", "src", true},
                                  {"video", "src", true},
                                  {"video", "poster", true},
                                  {"track", "src", true},
                                  {"embed", "src", true},
                                  {"object", "data", true},
                                  {"input", "src", true},
                                  {"form", "action", false},
                                  {"button", "formaction", false},
                                  {"input", "formaction", false},
                                  {"body", "background", true},
                                  {"use", "href", true},
                                  {"image", "href", true},
                                  {"base", "href", false}};

const UrlAttribute* findUrl(const Tag& tag, const Attribute& attribute) {
  for (const UrlAttribute& url : kUrls) {
    if (url.tag == tag.name && url.attribute == attribute.name) return &url;
  }
  return nullptr;
}

bool isRefresh(const Tag& tag, const Attribute& attribute) {
  if (tag.name != "meta" || attribute.name != "content") return false;
  const Attribute* const kind = tag.find("http-equiv");
  return kind != nullptr && lowered(kind->value) == "refresh";
}

// Of a link element only some kinds are loaded; "canonical" and the like just name an address.
bool isLoadedLink(const Tag& tag) {
  const Attribute* const rel = tag.find("rel");
  if (rel == nullptr) return false;
  for (const std::string_view word : wordsOf(rel->value)) {
    const std::string kind = lowered(word);
    for (const std::string_view loaded :
         {"stylesheet", "icon", "apple-touch-icon", "preload", "modulepreload", "manifest"}) {
      if (kind == loaded) return true;
    }
  }
  return false;
}

constexpr std::string_view kSpacesAndComma = " \t\n\f\r,";
constexpr std::string_view kSpaces = kSpacesAndComma.substr(0, kSpacesAndComma.size() - 1);

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kSpaces), text.size()));
  return text.substr(0, text.find_last_not_of(kSpaces) + 1);
}

// Whether it begins with a quote and is long enough to end with another one.
bool isQuoted(std::string_view value) {
  return value.size() > 1 && (value[0] == '"' || value[0] == '\'');
}

// The addresses of a set, each with a width or a density behind it (HTML standard, "srcset");
// pieces of it.
std::vector<std::string_view> addressesOfSet(std::string_view set) {
  std::vector<std::string_view> found;
  for (std::size_t at = 0;;) {
    at = set.find_first_not_of(kSpacesAndComma, at);
    if (at == std::string_view::npos) return found;
    std::string_view address = set.substr(at, set.find_first_of(kSpaces, at) - at);
    at += address.size();
    if (address.ends_with(',')) {
      address = address.substr(0, address.find_last_not_of(',') + 1);
    } else {
      at = std::min(set.find(',', at), set.size());
    }
    found.push_back(address);
  }
}

// "../a/./b" below "x/y/": "x/a/b"; what would leave the page directory stays at its top.
std::string normalised(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t at = 0;
  while (at <= path.size()) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string part = path.substr(at, end - at);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (part != "." && !part.empty()) {
      parts.push_back(part);
    }
    at = end + 1;
  }
  std::string result;
  for (const std::string& part : parts) result += (result.empty() ? "" : "/") + part;
  return result;
}

std::string baseOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

bool isUrl(const Tag& tag, const Attribute& attribute) {
  return findUrl(tag, attribute) != nullptr || isRefresh(tag, attribute);
}

Address readAddress(std::string_view value) {
  value = trimmed(value);
  if (value.empty() || value[0] == '#' || value[0] == '?') return {Address::Kind::kSelf, ""};
  const std::size_t pathEnd = std::min(value.find_first_of("?#"), value.size());
  const std::string_view front = value.substr(0, pathEnd);
  const std::size_t colon = front.find_first_of(":/");
  std::string_view afterScheme = front;
  if (colon != std::string_view::npos && front[colon] == ':') {
    const std::string scheme = lowered(front.substr(0, colon));
    if (scheme != "http" && scheme != "https") return {};
    afterScheme.remove_prefix(colon + 1);
    if (!afterScheme.starts_with("//")) return {};
  }
  if (afterScheme.starts_with("//")) {
    afterScheme.remove_prefix(2);
    const std::string_view host = afterScheme.substr(0, afterScheme.find_first_of("/\\"));
    if (host.empty() || host.find(kValueByte) != std::string_view::npos) return {};
    return {Address::Kind::kOutside, std::string(host)};
  }
  if (front.find(kValueByte) != std::string_view::npos) return {};
  std::string path;
  for (std::size_t i = 0; i < front.size(); ++i) {
    // A blank is "%20" in a path, not '+'.
    path += front[i] == '+' ? std::string("%2B") : std::string(1, front[i]);
  }
  return {Address::Kind::kPortal, fixString(path)};
}

std::string Links::resolve(const std::string& directory, const std::string& path) const {
  const bool isAbsolute = path.starts_with('/');
  for (const std::string& candidate :
       {normalised(isAbsolute ? path : directory + path), normalised(path), baseOf(path)}) {
    if (files_.contains(candidate)) return candidate;
  }
  return {};
}

void Links::checkLink(const ViewCheck& check, const Tag& tag, const Attribute& attribute) {
  const UrlAttribute* const url = findUrl(tag, attribute);
  const std::size_t place = check.sourceOf(attribute.begin);
  if (url == nullptr) {
    const std::size_t begin = lowered(attribute.value).find("url=");
    if (begin == std::string::npos) return;
    checkAddress(check, tag, std::string_view(attribute.value).substr(begin + 4), place, false);
    return;
  }
  const bool isLoaded = url->isLoaded && (tag.name != "link" || isLoadedLink(tag));
  if (tag.name == "link" && !isLoaded) return;
  if (attribute.name == kSet) {
    for (const std::string_view address : addressesOfSet(attribute.value)) {
      const auto offset = static_cast<std::size_t>(address.data() - attribute.value.data());
      checkAddress(check, tag, address, check.sourceOf(attribute.begin + offset), true);
    }
    return;
  }
  const std::string file = checkAddress(check, tag, attribute.value, place, isLoaded);
  if (isLoaded && !file.empty()) loads_[check.page.file.name].insert(file);
}

std::string Links::checkAddress(const ViewCheck& check, const Tag& tag, std::string_view value,
                                std::size_t place, bool isLoaded) {
  FileFindings& findings = check.page.findings;
  const Address address = readAddress(value);
  if (address.kind == Address::Kind::kOutside) {
    const std::string what = "\"" + shown(address.text) + "\" is another host";
    if (isLoaded) {
      findings.add(Rule::kOtherHost, place,
                   what +
                       ", which a guest cannot reach before the login: the page waits for it; put "
                       "the file into the page directory");
    } else if (tag.name == "a" || tag.name == "area") {
      findings.add(
          Rule::kOtherHost, place,
          what + ", which a guest can reach after the login only, or from the walled garden",
          Severity::kNote);
    } else {
      findings.add(
          Rule::kOtherHost, place,
          what + ", which a guest cannot reach before the login; name the portal's own page");
    }
    return {};
  }
  if (address.kind != Address::Kind::kPortal || findings.isFull()) return {};
  const std::string name = baseOf(address.text);
  if (name.empty() || name == ".." || name == "." || pages::findHandler(name) != nullptr) return {};
  std::string file = resolve(check.page.file.directory(), address.text);
  if (!file.empty()) return file;
  std::vector<std::string_view> candidates;
  for (const auto& [known, size] : files_) candidates.push_back(known);
  for (const pages::Handler& handler : pages::handlers()) candidates.push_back(handler.name);
  const std::string_view near = nearest(normalised(address.text), candidates);
  findings.add(Rule::kMissingFile, place,
               "there is no file \"" + shown(address.text) + "\" in the page directory" +
                   (near.empty() ? "" : "; did you mean \"" + shown(near) + "\"?"));
  return {};
}

void Links::check(const ViewCheck& check) {
  for (const Tag& tag : check.html.tags) {
    if (tag.isEnd) continue;
    for (const Attribute& attribute : tag.attributes) {
      if (isUrl(tag, attribute)) checkLink(check, tag, attribute);
    }
  }
  const std::vector<Region>& regions = check.html.regions;
  for (std::size_t i = 0; i < regions.size(); ++i) {
    if (regions[i].place != Place::kStyle) continue;
    const std::size_t end = i + 1 < regions.size() ? regions[i + 1].begin : check.view.text.size();
    checkCss(check.page.file, check.page.findings, check.view.text, &check.view.source,
             regions[i].begin, end);
  }
}

void Links::checkStyle(const PageFile& file, FileFindings& findings) {
  checkCss(file, findings, file.text, nullptr, 0, file.text.size());
}

void Links::checkCss(const PageFile& file, FileFindings& findings, std::string_view text,
                     const std::vector<std::uint32_t>* source, std::size_t begin, std::size_t end) {
  text = text.substr(0, end);  // nothing is looked for behind it, however many styles a page has
  const auto place = [source](std::size_t at) { return source == nullptr ? at : (*source)[at]; };
  constexpr std::string_view kUrl = "url(";
  for (std::size_t at = begin; (at = text.find(kUrl, at)) != std::string_view::npos;) {
    at += kUrl.size();
    const std::size_t close = std::min(text.find(')', at), text.size());
    const std::string_view value = trimmed(text.substr(at, close - at));
    checkStyleAddress(file, findings, isQuoted(value) ? value.substr(1, value.size() - 2) : value,
                      place(at));
    at = close;
  }
  constexpr std::string_view kImport = "@import";
  for (std::size_t at = begin; (at = text.find(kImport, at)) != std::string_view::npos;) {
    at += kImport.size();
    at = std::min(text.find_first_not_of(kSpaces, at), text.size());
    const std::string_view rest = text.substr(at);
    if (!isQuoted(rest)) continue;  // an url(), seen above
    const std::size_t length = rest.find(rest[0], 1);
    if (length == std::string_view::npos) continue;
    checkStyleAddress(file, findings, rest.substr(1, length - 1), place(at));
  }
}

void Links::checkStyleAddress(const PageFile& file, FileFindings& findings, std::string_view value,
                              std::size_t place) {
  const Address address = readAddress(value);
  if (address.kind == Address::Kind::kOutside) {
    findings.add(Rule::kOtherHost, place,
                 "\"" + shown(address.text) +
                     "\" is another host, which a guest cannot reach before the login; put the "
                     "file into the page directory");
  } else if (address.kind == Address::Kind::kPortal) {
    const std::string found = resolve(file.directory(), address.text);
    if (found.empty()) {
      findings.add(Rule::kMissingFile, place,
                   "there is no file \"" + shown(address.text) + "\" in the page directory");
    } else {
      loads_[file.name].insert(found);
    }
  }
}

std::uintmax_t Links::loadedWith(const std::string& page) const {
  std::set<std::string> all;
  std::vector<std::string> left = {page};
  while (!left.empty()) {
    const auto loads = loads_.find(left.back());
    left.pop_back();
    if (loads == loads_.end()) continue;
    for (const std::string& file : loads->second) {
      if (file != page && all.insert(file).second) left.push_back(file);
    }
  }
  std::uintmax_t bytes = 0;
  for (const std::string& file : all) bytes += files_.at(file);
  return bytes;
}

}  // namespace lint
