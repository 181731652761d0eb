// Text that is safe on the wire of an HTTP header (RFC 9110 section 5). Any bytes; any thread.

#ifndef WEBSERVER_HEADER_TEXT_H_
#define WEBSERVER_HEADER_TEXT_H_

#include <ctime>
#include <string>
#include <string_view>

namespace web {

// Whether the text is a token: the only thing that a field's name may be.
bool isToken(std::string_view text);

// A field value or reason phrase with each control character but the tab made a blank: CR, LF and
// NUL would end or cut the line, clients refuse an answer for the others (RFC 9110 section 5.5).
std::string cleanHeaderText(std::string_view text);

// The text with the five characters that HTML gives a meaning made references.
std::string escapeHtml(std::string_view text);

// "Sun, 06 Nov 1994 08:49:37 GMT" of a time. One result is kept for each thread; valid until that
// thread's next call.
std::string_view httpDate(std::time_t now);

}  // namespace web

#endif  // WEBSERVER_HEADER_TEXT_H_
