#include "tools/hotspot_lint.h"

#include <algorithm>

#include "tools/hotspot_lint_directory.h"
#include "tools/hotspot_lint_files.h"
#include "tools/hotspot_lint_links.h"
#include "tools/hotspot_lint_page.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

// What a page and all that it loads may weigh: the assistants of phones stop at about this size,
// and whoever stands in front of a portal waits for it on the slowest of networks.
constexpr std::uintmax_t kMostPageBytes = std::uintmax_t{128} * 1024;

std::string kibibytes(std::uintmax_t bytes) {
  return std::to_string((bytes + 1023) / 1024) + " KiB";
}

void checkPage(const PageFile& file, Links* links, FileFindings* findings) {
  const Names names = namesOn(file.page);
  const Walk pageWalk = walk(file.text, names);
  const PageCheck page{file, names, pageWalk, *findings};
  checkBlocks(page);
  checkConditions(page);
  checkReferences(page);
  ViewMaker maker(file.text, pageWalk);
  View view;
  for (bool isFirst = true; maker.next(&view); isFirst = false) {
    // Plain text has no tags.
    const Html html = file.isHtml ? readHtml(view.text) : Html{{}, {Region()}};
    const ViewCheck check{page, view, html};
    checkValues(check);
    if (isFirst) checkEncoding(page, html);
    if (!file.isHtml) continue;
    links->check(check);
    checkForms(check);
    checkPolicy(check);
  }
}

// Files that are sent as they are: a directive there is a mistake.
void checkPlain(const PageFile& file, Links* links, FileFindings* findings) {
  const Names names = namesOn("login");
  const Walk fileWalk = walk(file.text, names);
  for (const Directive& directive : fileWalk.directives) {
    if (directive.isLiteral) continue;
    const std::string_view base = referenceOf(directive.name).base;
    const bool isBlock = directive.kind == kCmdIf && names.contains(std::string(base));
    // Names of one word may be names of the file's own language.
    const bool isReference =
        directive.kind == kCmdNone && directive.name.find('-') != std::string::npos;
    if (!isBlock && !isReference) continue;
    findings->add(
        Rule::kNotRendered, directive.begin,
        "\"" +
            shown(std::string_view(file.text).substr(directive.begin,
                                                     directive.end - directive.begin)) +
            "\" is sent as it is written: only .html, .htm and .txt files are filled in; put "
            "the value into a page");
    break;
  }
  const std::size_t bad = findBadUtf8(file.text);
  if (bad != std::string::npos) {
    findings->add(Rule::kEncoding, bad, "is not UTF-8 from here on; save the file as UTF-8");
  }
  if (file.name.ends_with(".css")) links->checkStyle(file, *findings);
}

void checkSize(const PageFile& file, const Links& links, FileFindings* findings) {
  const std::uintmax_t loaded = links.loadedWith(file.name);
  if (file.size + loaded <= kMostPageBytes) return;
  findings->add(Rule::kPageSize, 0,
                "the page weighs " + kibibytes(file.size) + " and what it loads " +
                    kibibytes(loaded) + ", together more than " + kibibytes(kMostPageBytes) +
                    "; phones' log-in assistants may not show it");
}

}  // namespace

void checkEncoding(const PageCheck& page, const Html& html) {
  const std::string& text = page.file.text;
  const std::size_t bad = findBadUtf8(text);
  if (bad != std::string::npos) {
    page.findings.add(Rule::kEncoding, bad, "is not UTF-8 from here on; save the file as UTF-8");
    return;
  }
  const std::size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    page.findings.add(Rule::kEncoding, nul, "holds a NUL byte: this is no text");
    return;
  }
  const auto foreign =
      std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
  if (!page.file.isHtml || foreign == text.end()) return;
  constexpr std::size_t kLooked = 1024;  // browsers look no further
  for (const Tag& tag : html.tags) {
    if (tag.name != "meta" || tag.begin > kLooked) continue;
    const Attribute* const charset = tag.find("charset");
    const Attribute* const content = tag.find("content");
    const std::string said = lowered(charset != nullptr   ? charset->value
                                     : content != nullptr ? content->value
                                                          : "");
    if (said.find("utf-8") != std::string::npos) return;
  }
  page.findings.add(Rule::kEncoding, static_cast<std::size_t>(foreign - text.begin()),
                    "other letters than ASCII's, and nothing says that they are UTF-8; write <meta "
                    "charset=\"utf-8\"> at the start of the head",
                    Severity::kWarning);
}

std::vector<Finding> lintDirectory(const std::filesystem::path& directory) {
  const std::vector<PageFile> files = readPageFiles(directory);
  std::vector<FileFindings> found(files.size());
  Links links;
  for (const PageFile& file : files) {
    if (file.problem.empty()) links.addFile(file.name, file.size);
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!files[i].isText || !files[i].problem.empty()) continue;
    if (files[i].isRendered) {
      checkPage(files[i], &links, &found[i]);
    } else {
      checkPlain(files[i], &links, &found[i]);
    }
  }
  std::vector<Finding> findings;
  checkDirectory(files, &findings);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].isHtml && files[i].problem.empty()) checkSize(files[i], links, &found[i]);
    const std::vector<Finding> own = found[i].take(files[i]);
    findings.insert(findings.end(), own.begin(), own.end());
  }
  std::sort(findings.begin(), findings.end());
  return findings;
}

}  // namespace lint
