// Escaping and unescaping of text for URLs and markup. No function fails; any bytes; any thread.

#ifndef TEMPLATE_ESCAPE_H_
#define TEMPLATE_ESCAPE_H_

#include <string>
#include <string_view>

// Decodes a form value or URL component: first every '+' becomes a blank, then '%' and the two
// characters behind it become one byte. The two are read as sscanf(3) with "%x" reads them: "% 5"
// is the byte 5,
// "%-1" the byte 0xFF, "%4z" the byte 4; two that hold no number repeat the byte of the escape
// before them (0 for the first). A '%' with fewer than two characters behind it stays. Decoded
// bytes are not decoded again.
std::string fixString(std::string s);

// URL-escapes: ASCII letters, digits, '.' and '-' stay, a blank becomes '+', every other byte (also
// '_',
// '~' and '/') becomes '%' and two upper-case hexadecimal digits.
std::string doEscapeString(const std::string& s);

// Replaces '<', '>' and '&' by "&lt;", "&gt;" and "&amp;"; quotes and apostrophes stay.
std::string xmlEscapeString(const std::string& s);

// The same, behind what `*out` holds; `text` is no part of that.
void appendXmlEscaped(std::string_view text, std::string* out);

#endif  // TEMPLATE_ESCAPE_H_
