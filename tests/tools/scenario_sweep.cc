// scenario-sweep SEED COUNT [RESULTS]: plays random scenarios and checks what holds for every
// result. Prints each rule that was broken, and a line with the numbers. RESULTS is a file for the
// results, the same for a seed on every machine: the dates in cookies are masked. Exit status: 0
// when no rule was broken, 1 when one was, 2 when the run could not go on.

#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tests/tools/program.h"
#include "tests/tools/scenario_generator.h"
#include "tests/tools/scenario_rules.h"

namespace {

bool parse(const char* text, std::uint64_t* value) {
  const char* const end = text + std::strlen(text);
  const auto parsed = std::from_chars(text, end, *value);
  return parsed.ec == std::errc() && parsed.ptr == end && text != end;
}

// "; expires=" and the date behind it depend on the clock.
std::string maskDates(std::string line) {
  constexpr char kLabel[] = "; expires=";
  constexpr std::size_t kDateBytes = sizeof "Mon, 16-Nov-2026 09:00:00 GMT" - 1;
  std::size_t at = 0;
  while ((at = line.find(kLabel, at)) != std::string::npos) {
    at += sizeof kLabel - 1;
    line.replace(at, kDateBytes, "DATE");
  }
  return line;
}

int sweep(std::uint64_t seed, std::uint64_t count, std::ostream* results) {
  constexpr std::uint64_t kAtOnce = 1000;
  ScenarioGenerator generator(seed);
  const ScratchDir tmp;
  std::uint64_t broken = 0;
  for (std::uint64_t done = 0; done < count;) {
    std::vector<Json> scenarios;
    std::string lines;
    for (; scenarios.size() < kAtOnce && done < count; ++done) {
      scenarios.push_back(generator.next());
      lines += scenarios.back().dump() + '\n';
    }
    const Ended ended = runProgram({TEST_PLAYER, TEST_MODULE}, lines, tmp.path());
    std::istringstream out(ended.out);
    std::string line;
    for (const Json& scenario : scenarios) {
      if (!std::getline(out, line)) {
        std::cerr << "scenario-player ended with status " << ended.status << " at " << scenario
                  << '\n'
                  << ended.err;
        return 2;
      }
      for (const std::string& rule : brokenRules(scenario, Json::parse(line))) {
        ++broken;
        std::cout << "broken: " << rule << '\n' << scenario << '\n' << line << '\n';
      }
      if (results != nullptr) *results << maskDates(line) << '\n';
    }
    // All scenarios are valid; a leak shows at the program's end.
    if (ended.status != 0 || std::getline(out, line)) {
      std::cerr << "scenario-player ended with status " << ended.status << ", the last line "
                << line << '\n'
                << ended.err;
      return 2;
    }
  }
  std::cout << count << " scenarios of seed " << seed << ", " << broken << " rules broken\n";
  return broken == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t seed = 0;
  std::uint64_t count = 0;
  if (argc < 3 || argc > 4 || !parse(argv[1], &seed) || !parse(argv[2], &count)) {
    std::cerr << "usage: scenario-sweep SEED COUNT [RESULTS]\n";
    return 2;
  }
  if (argc == 3) return sweep(seed, count, nullptr);
  std::ofstream results(argv[3]);
  const int status = sweep(seed, count, &results);
  if (!results.flush()) {
    std::cerr << "cannot write " << argv[3] << '\n';
    return 2;
  }
  return status;
}
