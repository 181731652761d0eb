// A preview of a page directory that the test writes.

#ifndef TESTS_PREVIEW_PREVIEW_SITE_H_
#define TESTS_PREVIEW_PREVIEW_SITE_H_

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/tools/program.h"
#include "tools/hotspot_preview_play.h"
#include "tools/hotspot_preview_site.h"

// A few pages, each of which says its name.
class PreviewSite {
 public:
  PreviewSite();

  const ScratchDir& directory() const { return directory_; }
  preview::Site& site() { return *site_; }

  // After files were written.
  void noteChange() { site_->noteChange(""); }

  // A GET of the gallery's host, and of a frame's.
  preview::Reply gallery(const std::string& target);
  preview::Reply frame(const std::string& label, const std::string& target);
  nlohmann::json json(const std::string& target);

 private:
  ScratchDir directory_;
  preview::Player player_;
  std::unique_ptr<preview::Site> site_;
};

std::string headerOf(const preview::Reply& reply, const std::string& name);

#endif  // TESTS_PREVIEW_PREVIEW_SITE_H_
