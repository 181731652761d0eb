// Messages as lines of text, which mutation leaves readable: "0x20000001=anna".

#ifndef FUZZ_FIELD_LINES_H_
#define FUZZ_FIELD_LINES_H_

#include <string>

#include "host/message.h"

namespace fuzz {

// The message whose fields the lines name. An id is hexadecimal; its top byte says how the value is
// read: a number in decimal or, behind "0x", in hexadecimal; "true"; an array's numbers apart by
// blanks; or any bytes, of which "\n", "\r", "\0" and "\\" stand for one each. A line that names no
// field of a known type is passed over.
nv::message readFieldLines(const std::string& text);

}  // namespace fuzz

#endif  // FUZZ_FIELD_LINES_H_
