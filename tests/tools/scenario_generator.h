// Random scenarios for hotspot-replay: requests, replies of the manager and pages, ordinary and
// odd.

#ifndef TESTS_TOOLS_SCENARIO_GENERATOR_H_
#define TESTS_TOOLS_SCENARIO_GENERATOR_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

// The same seed gives the same scenarios on every machine. Every scenario is valid.
class ScenarioGenerator {
 public:
  // Stands in files outside the page directory of a scenario, and nowhere else.
  static constexpr char kOutside[] = "<outside the page directory>";

  explicit ScenarioGenerator(std::uint64_t seed) : random_(seed) {}

  Json next();

 private:
  using Texts = std::vector<std::string>;

  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }
  bool chance(unsigned percent) { return below(100) < percent; }
  const std::string& oneOf(const Texts& texts) { return texts[below(texts.size())]; }
  std::uint32_t number();
  std::string address();
  std::string bytes(std::size_t most);

  std::string value();      // of a parameter, a header or a field
  std::string form();       // a query or a form body
  std::string directory();  // a sub-directory, or what tries to leave it
  std::string pageText();
  Json request();
  Json reply();
  Json pages();
  Json call();

  std::mt19937_64 random_;
};

// The JSON string that stands for these bytes, one character a byte, and back.
std::string toJsonBytes(const std::string& bytes);
std::string fromJsonBytes(const std::string& text);

#endif  // TESTS_TOOLS_SCENARIO_GENERATOR_H_
