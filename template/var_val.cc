#include "template/var_val.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "template/escape.h"
#include "template/format.h"

namespace {

constexpr std::string_view kEscSuffix = "-esc";
constexpr std::string_view kRadiusPrefix = "radius";

// Reads a number at `*at` and moves it behind; false when there is none.
bool scanNumber(const char** at, unsigned* value) {
  const char* end;
  const unsigned number = parseNumber(*at, &end, 0);
  if (end == *at) return false;
  *value = number;
  *at = end;
  return true;
}

}  // namespace

bool VarLookup::findOther(std::string_view name, std::string_view* value) {
  if (name.size() > kEscSuffix.size() && name.ends_with(kEscSuffix)) {
    name.remove_suffix(kEscSuffix.size());
    if (const std::string* const variable = index_.find(name)) {
      *value = made_ = doEscapeString(*variable);
      return true;
    }
  }
  // A RADIUS value is not URL-escaped, unlike a page variable, on purpose.
  std::string attribute;
  if (!getRadiusVal(radius_, std::string(name), &attribute)) return false;
  if (esc_) attribute = xmlEscapeString(attribute);
  *value = made_ = std::move(attribute);
  return true;
}

std::string_view VarLookup::escape(const std::string& value) {
  made_.clear();
  appendXmlEscaped(value, &made_);
  return made_;
}

bool getVarVal(std::map<std::string, std::string>& env, radius::Packet& radius,
               const std::string& name, std::string* value, bool esc) {
  VarLookup lookup(env, radius, esc);
  std::string_view found;
  if (!lookup.find(name, &found)) return false;
  *value = found;
  return true;
}

std::size_t longestVarName(const std::map<std::string, std::string>& env) {
  std::size_t longest = kRadiusPrefix.size();
  for (const auto& [name, value] : env) longest = std::max(longest, name.size());
  return longest + kEscSuffix.size();
}

bool getRadiusVal(radius::Packet& radius, const std::string& name, std::string* value) {
  unsigned vendor = 0;
  unsigned type = 0;
  unsigned index = 0;
  bool numeric = false;
  return parseRadiusId(name, &vendor, &type, &numeric, &index) &&
         getRadiusAttribute(radius, vendor, type, numeric, index, value);
}

bool getRadiusAttribute(const radius::Packet& radius, unsigned vendor, unsigned type, bool numeric,
                        unsigned index, std::string* value) {
  if (vendor == 0 && type == 0) {
    *value = radius.bytes.empty() ? "" : "true";
    return true;
  }
  if (!numeric) return radius.get(vendor, type, value, index);
  unsigned number = 0;
  if (!radius.get(vendor, type, &number, index)) return false;
  *value = num2str(number, "%u");
  return true;
}

bool parseRadiusId(const std::string& name, unsigned* vendor, unsigned* type, bool* numeric,
                   unsigned* index) {
  if (!name.starts_with(kRadiusPrefix)) return false;
  if (name.size() == kRadiusPrefix.size()) return true;
  return parseRadiusNumbers(name.c_str(), vendor, type, numeric, index);
}

bool parseRadiusNumbers(const char* at, unsigned* vendor, unsigned* type, bool* numeric,
                        unsigned* index) {
  if (!scanNumber(&at, type)) return false;
  if (*at == '-') {
    ++at;
    if (!scanNumber(&at, vendor)) return false;
  }
  if (*at == 'u') {
    *numeric = true;
    ++at;
  }
  if (index != nullptr && *at == '[') {
    ++at;
    const char* end;
    *index = parseNumber(at, &end, 0);  // nothing reads as 0: "[]" is the first
    if (*end != ']') return false;
    at = end + 1;
  }
  return *at == '\0';
}
