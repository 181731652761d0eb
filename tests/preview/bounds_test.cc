// What there can be too much of.

#include <gtest/gtest.h>

#include "tests/preview/preview_site.h"
#include "tools/hotspot_preview_states.h"
#include "tools/hotspot_preview_watch.h"

namespace {

TEST(PreviewBounds, LanguagesAndOwnFilesAreCut) {
  const ScratchDir directory;
  for (int i = 100; i < 150; ++i) {
    directory.write("l" + std::to_string(i) + "/login.html", "");
    directory.write("own" + std::to_string(i) + ".html", "");
  }
  const std::vector<std::string> languages = preview::findLanguages(directory.path());
  ASSERT_EQ(languages.size(), preview::kMostLanguages);
  EXPECT_EQ(languages.back(), "l139");
  const std::vector<preview::State> states = preview::statesOf(directory.path());
  EXPECT_NE(preview::findState(states, "file-own139-html"), nullptr);
  EXPECT_EQ(preview::findState(states, "file-own140-html"), nullptr);
}

TEST(PreviewBounds, OldestEditedFramesAreForgotten) {
  PreviewSite preview;
  const auto labelOf = [&](int number) {
    const std::string frame =
        preview.json("/api/state/login?username=" + std::to_string(number))["frame"];
    return frame.substr(7, frame.find('.') - 7);
  };
  const std::string first = labelOf(0);
  const std::string second = labelOf(1);
  for (int i = 2; i < 256; ++i) labelOf(i);
  EXPECT_EQ(preview.frame(first, "/login").status, 200);
  EXPECT_EQ(labelOf(0), first) << "asked for again, it is the newest";
  labelOf(256);
  EXPECT_EQ(preview.frame(second, "/login").status, 404);
  EXPECT_EQ(preview.frame(first, "/login").status, 200);
}

TEST(PreviewBounds, DirectoriesBeyondTheMostAreNotWatchedAndThatIsSaid) {
  const ScratchDir directory;
  const std::size_t most = preview::DirectoryWatch::kMostDirectories;
  for (std::size_t i = 0; i + 1 < most; ++i) {
    std::filesystem::create_directory(directory.path() / std::to_string(i));
  }
  preview::DirectoryWatch watch(directory.path());
  EXPECT_EQ(watch.problem(), "");
  std::filesystem::create_directory(directory.path() / "more");
  watch.take();
  watch.rescan();
  EXPECT_EQ(watch.problem(),
            "only the first 1000 sub-directories are watched; is this a page directory?");
  std::filesystem::remove(directory.path() / "more");
  watch.take();
  watch.rescan();
  EXPECT_EQ(watch.problem(), "");
}

TEST(PreviewBounds, DeepDirectoriesAreNotWatchedAndThatIsSaid) {
  const ScratchDir directory;
  std::filesystem::path deep = directory.path();
  for (int level = 1; level < preview::DirectoryWatch::kMostLevels; ++level) deep /= "d";
  std::filesystem::create_directories(deep);
  preview::DirectoryWatch watch(directory.path());
  EXPECT_EQ(watch.problem(), "");
  std::filesystem::create_directory(deep / "d");
  watch.rescan();
  EXPECT_NE(watch.problem().find("are not watched"), std::string::npos) << watch.problem();
}

TEST(PreviewBounds, CircleOfLinksEnds) {
  const ScratchDir directory;
  std::filesystem::create_directory_symlink(directory.path(), directory.path() / "self");
  const preview::DirectoryWatch watch(directory.path());
  EXPECT_TRUE(watch.isThere());
}

}  // namespace
