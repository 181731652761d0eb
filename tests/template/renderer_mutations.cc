// The engine against the naive one on mutations of real pages.
//
//   renderer-mutations SEED COUNT PAGE...
//
// A PAGE may be a directory: all *.html in it and below.
// Exit status 1, with the text, at the first difference.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/template/naive_renderer.h"
#include "tests/template/rendering.h"

namespace {

namespace fs = std::filesystem;

using Random = std::mt19937;

const char* const kPieces[] = {
    "$(",     "%",     ")",     "(",          "$",       "\\",       " ",      "\t",
    "if ",    "elif ", "else",  "endif",      "$(if ",   "$(endif)", "%else%", "$(elif ",
    " == ",   " != ",  " = ",   " <> ",       "'yes'",   "\"",       "'",      "-esc",
    "radius", "error", "popup", "%username%", "$(trial)"};

const std::map<std::string, std::string> kVariables = {{"username", "anna & <bo>"},
                                                       {"error", ""},
                                                       {"error-type", "invalid-user"},
                                                       {"trial", "yes"},
                                                       {"logged-in", "no"},
                                                       {"link-orig", "http://a/?b=c&d"},
                                                       {"popup", "true"},
                                                       {"plain-passwd", "no"},
                                                       {"chap-id", "\\001"},
                                                       {"link-login-only", "/l"},
                                                       {"session-time-left", ""}};

std::size_t upTo(Random& random, std::size_t most) { return random() % (most + 1); }

// One change at a random place: bytes taken out, doubled, moved, replaced, or something put in.
void mutate(Random& random, std::string* text) {
  const std::size_t at = upTo(random, text->size());
  const std::size_t length = upTo(random, std::min<std::size_t>(text->size() - at, 40));
  const std::size_t to = upTo(random, text->size());
  switch (random() % 5) {
    case 0:
      text->erase(at, length);
      break;
    case 1:
      text->insert(to, std::string(*text, at, length));
      break;
    case 2: {
      const std::string moved(*text, at, length);
      text->erase(at, length);
      text->insert(upTo(random, text->size()), moved);
      break;
    }
    case 3:
      if (at < text->size()) (*text)[at] = static_cast<char>(random());
      break;
    default:
      text->insert(at, kPieces[random() % std::size(kPieces)]);
  }
}

bool agrees(Rendering& rendering, const std::string& text, bool esc) {
  const naive::Rendered expected = naive::render(rendering.conn.env, false, text, esc);
  StringSink& out = rendering.out;
  out.text.clear();
  const char* cursor = text.data();
  useEnvR(rendering.conn.env, rendering.conn.radius, &cursor, text.data() + text.size(), &out, esc);
  if (out.text == expected.output &&
      static_cast<std::size_t>(cursor - text.data()) == expected.cursor) {
    return true;
  }
  std::cout << "rendered in two ways:\n"
            << text << "\nesc: " << esc << "\nexpected:\n"
            << expected.output << "\nrendered:\n"
            << out.text << '\n';
  return false;
}

// In the same order on every machine.
std::vector<fs::path> htmlFiles(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
    if (entry.path().extension() == ".html") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: renderer-mutations SEED COUNT PAGE...\n", stderr);
    return 2;
  }
  std::vector<std::string> pages;
  for (int i = 3; i < argc; ++i) {
    const std::size_t before = pages.size();
    for (const fs::path& path : htmlFiles(argv[i])) {
      std::ifstream file(path, std::ios::binary);
      pages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    if (pages.size() == before || pages.back().empty()) {
      std::fprintf(stderr, "renderer-mutations: cannot read %s\n", argv[i]);
      return 2;
    }
  }
  Random random(static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)));
  const unsigned long count = std::strtoul(argv[2], nullptr, 10);
  Rendering rendering(kVariables);
  for (unsigned long done = 0; done < count; ++done) {
    std::string text = pages[random() % pages.size()];
    for (std::size_t changes = 1 + random() % 6; changes > 0; --changes) mutate(random, &text);
    if (!agrees(rendering, text, done % 2 == 0)) return 1;
  }
  std::printf("%lu mutations of %zu pages: no difference\n", count, pages.size());
  return 0;
}
