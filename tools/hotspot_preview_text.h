// Texts of addresses and files: percent-encoding, base64, replacing.

#ifndef TOOLS_HOTSPOT_PREVIEW_TEXT_H_
#define TOOLS_HOTSPOT_PREVIEW_TEXT_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace preview {

// Percent-encoding of all but letters, digits, '-' and '.', as the "-esc" form of a variable has it
// (but for the blank).
std::string percentEncode(std::string_view text);

// The text behind "%41"; a percent sign without two hexadecimal digits stays. With `plusIsBlank`
// as in the query of a form.
std::string percentDecode(std::string_view text, bool plusIsBlank);

// Names and values of a query as forms send it, decoded, in order. What has no '=' has no value.
std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query);

// Whether the query has a parameter of this name, in any letter case, with a value.
bool hasParameter(std::string_view query, std::string_view name);

// The bytes behind base64 (RFC 4648); nothing when it is none.
std::optional<std::string> decodeBase64(std::string_view text);

// A short name for a text, the same everywhere: 16 hexadecimal digits (FNV-1a, 64 bits).
std::string shortHash(std::string_view text);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_TEXT_H_
