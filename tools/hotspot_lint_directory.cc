#include "tools/hotspot_lint_directory.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "tools/hotspot_lint_text.h"
#include "tools/page_names.h"

namespace lint {
namespace {

constexpr std::string_view kHtml = ".html";

std::string fileOf(std::string_view page) { return std::string(page) + std::string(kHtml); }

class DirectoryCheck {
 public:
  DirectoryCheck(const std::vector<PageFile>& files, std::vector<Finding>* findings)
      : files_(files), findings_(findings) {
    for (const PageFile& file : files) {
      names_.insert(file.name);
      if (!file.page.empty() && !file.directory().empty())
        languages_[file.directory()].insert(file.page);
    }
  }

  void run() const {
    for (const PageFile& file : files_) {
      if (!file.problem.empty()) {
        add(file.name, Rule::kUnreadable, file.problem + "; the answer to a guest is 404");
      } else {
        checkShown(file);
      }
    }
    for (const pages::PageName& page : pages::pageNames()) checkPage(page);
    for (const auto& [directory, pages] : languages_) checkLanguage(directory, pages);
  }

 private:
  void add(const std::string& file, Rule rule, std::string message,
           std::optional<Severity> severity = std::nullopt) const {
    findings_->push_back(
        {file, 1, 1, rule, severity.value_or(infoOf(rule).severity), std::move(message)});
  }

  bool has(const std::string& name) const { return names_.contains(name); }

  void checkPage(const pages::PageName& page) const {
    const std::string file = fileOf(page.name);
    if (has(file)) return;
    const std::string when = " (" + std::string(page.when) + ")";
    if (page.redirects) {
      add(file, Rule::kFallback,
          "is not there" + when + ": the guest is redirected to the login page instead");
    } else if (!page.fallback.empty() && has(fileOf(page.fallback))) {
      add(file, Rule::kFallback,
          "is not there" + when + ": \"" + fileOf(page.fallback) + "\" is shown in its place");
    } else {
      add(file, Rule::kMissingPage, "is not there" + when + ": the answer to the guest is 404");
    }
  }

  // A sub-directory with pages: what a guest gets whose "target" names it.
  void checkLanguage(const std::string& directory, const std::set<std::string>& own) const {
    std::string fromTop;
    for (const pages::PageName& page : pages::pageNames()) {
      const std::string name(page.name);
      const std::string file = fileOf(name);
      if (own.contains(name)) {
        if (page.redirects && !has(file)) {
          add(directory + file, Rule::kNeverShown,
              "is only the body of a redirect: the module looks for \"" + file +
                  "\" in the page directory itself to tell whether there is such a page; put one "
                  "there too",
              Severity::kNote);
        }
      } else if (has(file) && !page.fallback.empty() && own.contains(std::string(page.fallback))) {
        std::string text = "is not there: \"";
        text.append(directory).append(fileOf(page.fallback));
        text.append("\" is shown in its place, not the page directory's \"").append(file) += '"';
        add(directory + file, Rule::kFallback, text);
      } else if (has(file)) {
        if (!fromTop.empty()) fromTop += ", ";
        fromTop += file;
      }
    }
    if (fromTop.empty()) return;
    add(directory + fileOf(*own.begin()), Rule::kFallback,
        "in \"" + directory +
            "\" these pages are not there and come from the page directory: " + fromTop);
  }

  void checkShown(const PageFile& file) const {
    const std::string base = file.baseName();
    if (file.name.find("..") != std::string::npos) {
      add(file.name, Rule::kNeverShown, "is never sent: names with two dots are answered 404");
      return;
    }
    const bool isPage = !file.page.empty();
    if (!isPage && pages::findHandler(base) != nullptr) {
      add(file.name, Rule::kNeverShown,
          "is never sent: a request for this name shows a page of the portal");
      return;
    }
    if (isPage || !file.isRendered || isMentioned(file)) return;
    const std::string_view meant = pageMeant(base);
    if (!meant.empty()) {
      add(file.name, Rule::kNeverShown,
          "is shown by no page of the portal; did you mean \"" + fileOf(meant) + "\"?");
    } else {
      add(file.name, Rule::kNeverShown, "is shown by no page of the portal, and no file names it",
          Severity::kNote);
    }
  }

  static std::string_view pageMeant(const std::string& base) {
    const std::string stem = lowered(base.substr(0, base.rfind('.')));
    if (const pages::PageName* page = pages::findPage(stem)) return page->name;
    std::vector<std::string_view> candidates;
    for (const pages::PageName& page : pages::pageNames()) {
      if (page.name.size() > 3) candidates.push_back(page.name);
    }
    return nearest(stem, candidates);
  }

  bool isMentioned(const PageFile& file) const {
    const std::string base = file.baseName();
    return std::any_of(files_.begin(), files_.end(), [&](const PageFile& other) {
      return &other != &file && other.text.find(base) != std::string::npos;
    });
  }

  const std::vector<PageFile>& files_;
  std::vector<Finding>* const findings_;
  std::set<std::string> names_;
  std::map<std::string, std::set<std::string>> languages_;
};

}  // namespace

void checkDirectory(const std::vector<PageFile>& files, std::vector<Finding>* findings) {
  DirectoryCheck(files, findings).run();
}

}  // namespace lint
