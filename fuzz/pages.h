// The page directory of the targets that show pages.

#ifndef FUZZ_PAGES_H_
#define FUZZ_PAGES_H_

#include <string>

namespace fuzz {

// Stands in files beside the page directory, and nowhere else.
constexpr char kOutside[] = "<outside the page directory>";

// A temporary directory with the pages that ship, a sub-directory "in" and three pages of the
// targets' own: every.html refers to every page variable and escaped.html to the "-esc" form of
// each, with nothing but line feeds in between; raw.txt does both. Made at the first call, removed
// at the end of the process. Ends with '/'.
const std::string& pageDirectory();

// Ends the process when the answer holds what stands outside the page directory, unless the input
// does: libFuzzer takes what it sees compared for words worth trying.
void checkNothingOutside(const std::string& answer, const std::string& input);

}  // namespace fuzz

#endif  // FUZZ_PAGES_H_
