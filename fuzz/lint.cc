// The linter: the input is a login page. Whatever it holds, what is said of it names a place in the
// file, is one readable line, and is the same the second time; a page of which nothing is said but
// notes has no reference left in it when the module has rendered it.

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "tests/support/visit.h"
#include "tools/hotspot_lint.h"

namespace {

// Long enough for every rule but that of the page's size.
constexpr std::size_t kLongest = 8192;

// Bytes of each line: it has no more characters than that.
std::vector<std::size_t> lineLengths(const std::string& text) {
  std::vector<std::size_t> lengths(1);
  for (const char c : text) {
    if (c == '\n') {
      lengths.push_back(0);
    } else {
      ++lengths.back();
    }
  }
  return lengths;
}

bool isReadable(const std::string& message) {
  return !message.empty() && std::none_of(message.begin(), message.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
  });
}

// All that is said, a line each.
std::string told(const std::vector<lint::Finding>& findings) {
  std::string text;
  for (const lint::Finding& finding : findings) {
    text += finding.file + ":" + std::to_string(finding.line) + ":" +
            std::to_string(finding.column) + ": " + finding.message + "\n";
  }
  return text;
}

// The first text with the form of a reference, in the letters that names have; empty when there is
// none.
std::string strayReference(const std::string& body) {
  for (std::size_t at = body.find("$("); at != std::string::npos; at = body.find("$(", at + 1)) {
    const std::size_t end = body.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 2);
    const bool isName = end != std::string::npos && end > at + 2 && body[at + 2] != '-';
    if (isName && (body[end] == ')' || body[end] == '%')) return body.substr(at, end + 1 - at);
  }
  return {};
}
// Whether the author may have meant "$(...)" as it stands: kept from opening, or a script's
// function call. Scripts stand in elements, attributes and addresses.
bool mayBeMeant(const std::string& page) {
  std::string lower = page;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const char* const sign : {"\\", "$$", "script", "on"}) {
    if (lower.find(sign) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  const std::string page = fuzz::textOf(data, size);
  fake::Visit visit;
  visit.pages.write("login.html", page);
  const std::vector<lint::Finding> findings = lint::lintDirectory(visit.pages.path());
  fuzz::check(std::is_sorted(findings.begin(), findings.end()), "findings are in order");
  fuzz::checkEqual(told(lint::lintDirectory(visit.pages.path())), told(findings),
                   "the same is said of the same page");

  const std::vector<std::size_t> lengths = lineLengths(page);
  bool isClean = true;
  for (const lint::Finding& finding : findings) {
    fuzz::check(isReadable(finding.message), "a message is a readable line");
    if (finding.file != "login.html") continue;
    isClean = isClean && finding.severity == lint::Severity::kNote;
    fuzz::check(finding.line >= 1 && finding.line <= lengths.size(), "a line of the file");
    fuzz::check(finding.column >= 1 && finding.column <= lengths[finding.line - 1] + 1,
                "a column of the line");
  }
  if (!isClean || mayBeMeant(page)) return 0;
  visit.req.path = "/login";
  visit.reply();
  visit.serve();
  fuzz::checkEqual(strayReference(visit.body()), "",
                   "a page that is called clean has no reference left in it");
  return 0;
}
