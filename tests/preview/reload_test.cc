// Changes of files, as they are noticed and told.

#include "tools/hotspot_preview_reload.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "tests/tools/program.h"

namespace {

namespace fs = std::filesystem;

// What a reloader tells while files change.
class Reloads : public testing::Test {
 protected:
  Reloads()
      : pages_(directory_.write("pages/style.css", "").parent_path()),
        reloader_(io_, pages_, [this](const auto& files, const auto& problem) {
          files_.insert(files.begin(), files.end());
          problem_ = problem;
          ++told_;
        }) {}

  // Runs until it holds; fails when it never does.
  void await(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!holds()) {
      ASSERT_LT(std::chrono::steady_clock::now(), end);
      io_.run_for(std::chrono::milliseconds(20));
    }
  }

  void write(const std::string& name, const std::string& text = "x") {
    directory_.write("pages/" + name, text);
  }

  const ScratchDir directory_;
  const fs::path pages_;
  boost::asio::io_context io_;
  std::set<std::string> files_;
  std::string problem_;
  int told_ = 0;
  preview::Reloader reloader_;
};

TEST_F(Reloads, SavedFileIsNamed) {
  write("login.html");
  await([&] { return files_.contains("login.html"); });
  EXPECT_EQ(problem_, "");
}

TEST_F(Reloads, FileThatIsPutInThePlaceOfAnotherIsNamed) {
  directory_.write("login.html~", "x");
  fs::rename(directory_.path() / "login.html~", pages_ / "login.html");
  await([&] { return files_.contains("login.html"); });
}

TEST_F(Reloads, RemovedFileIsNamed) {
  write("login.html");
  await([&] { return told_ > 0; });
  files_.clear();
  fs::remove(pages_ / "login.html");
  await([&] { return files_.contains("login.html"); });
}

TEST_F(Reloads, FileInANewSubDirectoryIsNamed) {
  fs::create_directory(pages_ / "de");
  await([&] { return files_.contains("de"); });
  write("de/login.html");
  await([&] { return files_.contains("de/login.html"); });
  // A whole tree at once: what was in it before it was watched has been told with its top.
  write("a/b/c/login.html");
  await([&] { return files_.contains("a"); });
  const int before = told_;
  await([&] { return told_ > before; });
  write("a/b/c/status.html");
  await([&] { return files_.contains("a/b/c/status.html"); });
}

TEST_F(Reloads, HiddenFilesOfEditorsAreNoChange) {
  write(".login.html.swp");
  write("login.html");
  await([&] { return files_.contains("login.html"); });
  EXPECT_FALSE(files_.contains(".login.html.swp"));
}

TEST_F(Reloads, DirectoryThatWasReplacedIsWatchedAgain) {
  fs::rename(pages_, directory_.path() / "old");
  await([&] { return problem_ == "the directory is gone"; });
  fs::create_directory(pages_);
  await([&] { return problem_.empty(); });
  files_.clear();
  write("login.html");
  await([&] { return files_.contains("login.html"); });
  files_.clear();
  directory_.write("old/status.html", "x");
  write("logout.html");
  await([&] { return files_.contains("logout.html"); });
  EXPECT_FALSE(files_.contains("status.html")) << "the old one is nobody's any more";
}

TEST_F(Reloads, RemovedAndMadeAgainInOneGoIsWatched) {
  fs::remove_all(pages_);
  fs::create_directory(pages_);
  write("login.html");
  await([&] { return told_ > 0; });
  // However it was noticed, later changes are too.
  files_.clear();
  await([&] {
    write("status.html", std::to_string(told_));
    return files_.contains("status.html");
  });
}

}  // namespace
