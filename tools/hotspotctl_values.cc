#include "tools/hotspotctl_values.h"

#include <charconv>
#include <limits>

namespace hotspotctl {

namespace {

constexpr std::uint64_t kLargest =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

// What one of that letter is; 0 when the units know no such letter.
std::uint64_t unitOf(char letter, Units units) {
  struct Unit {
    Units units;
    char letter;
    std::uint64_t size;
  };
  static constexpr Unit kUnits[] = {
      {Units::kTime, 's', 1},           {Units::kTime, 'm', 60},
      {Units::kTime, 'h', 3600},        {Units::kTime, 'd', 86400},
      {Units::kBytes, 'K', 1ULL << 10}, {Units::kBytes, 'M', 1ULL << 20},
      {Units::kBytes, 'G', 1ULL << 30}, {Units::kBytes, 'T', 1ULL << 40},
  };
  for (const Unit& unit : kUnits) {
    if (unit.units == units && unit.letter == letter) return unit.size;
  }
  return 0;
}

const char* formOf(Units units) {
  switch (units) {
    case Units::kTime:
      return "a number of seconds, or one with s, m, h or d behind it";
    case Units::kBytes:
      return "a number of bytes, or one with K, M, G or T behind it";
    case Units::kNone:
      break;
  }
  return "a number";
}

}  // namespace

bool parseQuantity(const std::string& text, Units units, std::uint64_t* value) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc()) return false;
  std::uint64_t unit = 1;
  if (stop != end) {
    unit = stop + 1 == end ? unitOf(*stop, units) : 0;
    if (unit == 0) return false;
  }
  if (number > kLargest / unit) return false;
  *value = number * unit;
  return true;
}

void addQuantity(CLI::App* app, nlohmann::json* arguments, const std::string& key, Units units,
                 const std::string& what) {
  const auto take = [arguments, key, units](const std::string& text) {
    std::uint64_t value = 0;
    if (!parseQuantity(text, units, &value)) {
      throw CLI::ValidationError("--" + key, std::string("must be ") + formOf(units));
    }
    (*arguments)[key] = value;
  };
  app->add_option_function<std::string>("--" + key, take, what);
}

void addText(CLI::App* app, nlohmann::json* arguments, const std::string& key,
             const std::string& what) {
  app->add_option_function<std::string>(
      "--" + key, [arguments, key](const std::string& text) { (*arguments)[key] = text; }, what);
}

void addPositional(CLI::App* app, nlohmann::json* arguments, const std::string& key,
                   const std::string& what) {
  app->add_option_function<std::string>(
         key, [arguments, key](const std::string& text) { (*arguments)[key] = text; }, what)
      ->required();
}

}  // namespace hotspotctl
