// From a name in a template to its value. Free functions; nothing is kept; any thread.

#ifndef TEMPLATE_VAR_VAL_H_
#define TEMPLATE_VAR_VAL_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "host/radius.h"
#include "template/scan.h"
#include "template/var_index.h"

// The values of names, for one rendering.
class VarLookup {
 public:
  // `env` and `radius` outlive the object and stay as they are. `esc` asks for XML escaping of all
  // but URL-escaped values.
  VarLookup(const std::map<std::string, std::string>& env, radius::Packet& radius, bool esc)
      : index_(env), radius_(radius), esc_(esc) {}

  // Value of `name`: a page variable; else, for a name that ends in "-esc", the page variable
  // before the suffix, URL-escaped; else a RADIUS reference (with or without the suffix, which then
  // changes nothing). False, and `*value` untouched, when the name is none of these. A variable
  // with an empty value is found. `*value` is valid until the next name is found.
  bool find(std::string_view name, std::string_view* value) {
    const std::string* const variable = index_.find(name);
    if (variable == nullptr) return findOther(name, value);
    *value = escaped(*variable);
    return true;
  }

 private:
  bool findOther(std::string_view name, std::string_view* value);
  std::string_view escaped(const std::string& value) {
    return esc_ && scan::holds<scan::Markup>(value) ? escape(value) : value;
  }
  std::string_view escape(const std::string& value);

  VarIndex index_;
  radius::Packet& radius_;
  const bool esc_;
  std::string made_;  // the value, when it is no variable's own
};

// The same for a single name.
bool getVarVal(std::map<std::string, std::string>& env, radius::Packet& radius,
               const std::string& name, std::string* value, bool esc);

// Length of the longest name that getVarVal can find in `env`.
std::size_t longestVarName(const std::map<std::string, std::string>& env);

// Value of a RADIUS reference; for the bare "radius" it is "true" when the packet holds an
// attribute, else empty. False, and `*value` untouched, when the name is no reference or the packet
// has no such attribute.
bool getRadiusVal(radius::Packet& radius, const std::string& name, std::string* value);

// The same for the parts of a reference: neither vendor nor type is the bare "radius". A numeric
// attribute is read as an unsigned 32-bit number and given in decimal.
bool getRadiusAttribute(const radius::Packet& radius, unsigned vendor, unsigned type, bool numeric,
                        unsigned index, std::string* value);

// Reads a RADIUS reference: "radius" TYPE ["-" VENDOR] ["u"] ["[" INDEX "]"]. Writes only the parts
// that the name spells out (the caller sets all to 0 and false); with a null `index` the name may
// not have one. False when the name is no reference. The type is scanned from the start of the
// name, where no number can stand, so the only reference there is is "radius" itself. That is how
// the system is built; pages rely on it.
bool parseRadiusId(const std::string& name, unsigned* vendor, unsigned* type, bool* numeric,
                   unsigned* index);

// The part of a reference from TYPE on, up to the NUL behind it.
bool parseRadiusNumbers(const char* at, unsigned* vendor, unsigned* type, bool* numeric,
                        unsigned* index);

#endif  // TEMPLATE_VAR_VAL_H_
