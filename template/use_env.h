// The template engine: one pass straight over the bytes of a page.

#ifndef TEMPLATE_USE_ENV_H_
#define TEMPLATE_USE_ENV_H_

#include <iosfwd>
#include <map>
#include <string>

#include "host/radius.h"

// Renders the text from `*cursor` up to `end` to `out`, with the page variables of `env` and the
// RADIUS attributes of `radius`; `esc` asks for XML escaping of values. A null `out` means that the
// text is scanned and nothing is written. On return `*cursor` is `end`, or the position of the
// opener of an elif, else or endif that closes no block of this text. A block that is still open at
// the end ends there.
//
// A backslash keeps the character behind it from opening a directive, and stays; so does a '$' that
// is not followed by '('. A reference to an unknown name stays as it is written.
//
// Nesting takes a byte a level from the heap and nothing from the stack. Time is linear in the
// length of the text, whatever it holds. Keeps nothing; any thread.
void useEnvR(std::map<std::string, std::string>& env, radius::Packet& radius, const char** cursor,
             const char* end, std::ostream* out, bool esc);

#endif  // TEMPLATE_USE_ENV_H_
